// The program as the browsers' extension meets it: two pipes, and a fake extension that does as the page says.
#include <gmock/gmock.h>
#include <json/json.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cstring>
#include <sstream>

#include "base/Files.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FaultServer.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr int kLeft = 10;

std::string Framed(const std::string &message) {
    const auto length = static_cast<std::uint32_t>(message.size());
    std::string frame(4, '\0');
    std::memcpy(frame.data(), &length, 4);
    return frame + message;
}

class NativeHost : public ChildProcess {
public:
    explicit NativeHost(const std::vector<std::string> &caller = {})
        : ChildProcess(TEST_LUMHOST, Arguments(caller), Streams::Piped) {}

    void Send(const std::string &bytes) const {
        EXPECT_TRUE(base::WriteAll(in(), bytes));
    }
    void Leave() {
        CloseIn();
    }

    // The next event; null at the end.
    Json::Value Next() const {
        std::uint32_t length = 0;
        Json::Value event;
        if (Read(&length, sizeof length)) {
            std::string text(length, '\0');
            EXPECT_TRUE(length < 1 << 20 && Read(text.data(), length)) << "no whole message";
            std::istringstream(text) >> event;
        }
        return event;
    }
    // The next one of that name, or null.
    Json::Value NextOf(const std::string &name) const {
        for (Json::Value event = Next();; event = Next()) {
            if (event.isNull() || event["event"] == name) {
                return event;
            }
        }
    }
    std::vector<std::string> NamesToTheEnd() const {
        std::vector<std::string> names;
        for (Json::Value event = Next(); !event.isNull(); event = Next()) {
            names.push_back(event["event"].asString());
        }
        return names;
    }

private:
    static std::vector<std::string> Arguments(std::vector<std::string> caller) {
        caller.insert(caller.begin(), {"--native", "--extension", TEST_FAKE_EXTENSION});
        return caller;
    }
    bool Read(void *bytes, std::size_t size) const {
        auto *place = static_cast<char *>(bytes);
        for (ssize_t part = 0; size > 0; place += part, size -= static_cast<std::size_t>(part)) {
            pollfd ready{out(), POLLIN, 0};
            EXPECT_EQ(1, poll(&ready, 1, 60'000)) << "says nothing";
            if ((part = read(out(), place, size)) <= 0) {
                return false;
            }
        }
        return true;
    }
};

class NativeTest : public testing::Test {
protected:
    void SetUp() override {
        unsetenv("DISPLAY");
    }

    // The message for a page whose extension does this.
    Json::Value Start(const std::string &script, bool granted = true) const {
        Json::Value message;
        message["version"] = 1;
        message["type"] = "start";
        message["origin"] = server.Url("");
        message["page"] = server.Url("/join/page.html?token=1");
        for (const auto &[name, value] : {std::pair<std::string, std::string>("LumUrlRoot", server.Url("/kit")),
                                          {"Record", place / "record"},
                                          {"Script", script}}) {
            Json::Value pair;
            pair.append(name);
            pair.append(value);
            message["parameters"].append(pair);
        }
        message["granted"] = Json::Value(Json::arrayValue);
        if (granted) {
            message["granted"].append(server.Url(""));
        }
        return message;
    }

    static std::string Text(const Json::Value &message) {
        return Framed(Json::FastWriter().write(message));
    }

    const TempDir place;
    FaultServer server;
};

TEST_F(NativeTest, AStartLastsUntilThePageIsLeft) {
    server.On("/log", {{.status = 204}});
    NativeHost host;
    const Json::Value hello = host.Next();
    EXPECT_EQ("hello", hello["event"].asString());
    EXPECT_EQ(1, hello["version"].asInt());
    host.Send(Text(Start("print this is no message\ntrace 1 Main component is ready to be loaded\nopen - " +
                         server.Url("/log?ErrorCode=990") +
                         "\nmessage 7 Bad\nopen frame1 next.html#there\nopen _top javascript:alert(1)")));
    EXPECT_EQ("starting", host.Next()["state"].asString());
    const Json::Value message = host.Next();
    EXPECT_EQ(7, message["number"].asInt()) << message << "and no word of the log";
    EXPECT_EQ("Bad", message["text"].asString());
    const Json::Value first = host.NextOf("navigation");
    EXPECT_EQ("frame1", first["target"].asString());
    EXPECT_EQ(server.Url("/join/next.html#there"), first["url"].asString());
    EXPECT_EQ("the page was sent on", host.NextOf("settled")["reason"].asString());
    host.Leave();
    EXPECT_EQ("the page was left", host.NextOf("exit")["reason"].asString());
    EXPECT_EQ(kLeft, host.Wait());
    EXPECT_EQ("exit\n", ReadFile(place / "record"));
    EXPECT_THAT(host.Err(), HasSubstr("this is no message")) << "standard output is the browser's alone";
}

TEST_F(NativeTest, WhatIsNoStartIsRefused) {
    const auto with = [this](const char *name, const Json::Value &value) {
        Json::Value message = Start("stop");
        message[name] = value;
        return Text(message);
    };
    Json::Value less = Start("stop");
    less.removeMember("granted");
    std::string twice = Json::FastWriter().write(Start("stop"));
    twice.insert(1, R"("type":"start",)");
    const auto json = [](const char *text) {
        Json::Value value;
        std::istringstream(text) >> value;
        return value;
    };
    const struct {
        const char *what;
        std::string bytes;
        const char *reason;
    } cases[] = {
        {"too large, by its length", std::string("\1\0\x10\0", 4), "too-large"},
        {"nothing", Framed(""), "malformed"},
        {"no JSON", Framed("start"), "malformed"},
        {"no object", Framed("[1]"), "malformed"},
        {"more than JSON", Framed(Json::FastWriter().write(Start("stop")) + "{}"), "malformed"},
        {"a member twice", Framed(twice), "malformed"},
        {"too deep", Framed(std::string(5000, '[')), "malformed"},
        {"no UTF-8", Framed("{\"version\":1,\"type\":\"\xff\"}"), "malformed"},
        {"no version", with("version", Json::Value()), "version"},
        {"a later version", with("version", 2), "version"},
        {"a field that nobody knows", with("program", "/bin/sh"), "unknown-field"},
        {"another type", with("type", "stop"), "type"},
        {"a file", with("page", "file:///etc/passwd"), "origin"},
        {"another site's page", with("page", "https://meet.example/"), "origin"},
        {"another site", with("origin", "https://meet.example"), "origin"},
        {"no site", with("origin", Json::Value()), "origin"},
        {"no parameters", with("parameters", Json::Value()), "malformed"},
        {"a parameter without a value", with("parameters", json(R"([["a"]])")), "malformed"},
        {"a parameter with NUL", with("parameters", json(R"([["a","b\u0000c"]])")), "malformed"},
        {"a missing field", Text(less), "malformed"},
        {"permission for no site", with("granted", json(R"(["file:///"])")), "malformed"},
        {"a private window in words", with("private", "yes"), "malformed"},
        {"permission for half the world", with("granted", json(R"(["http://a","http://b","http://c"])")), "malformed"},
    };
    for (const auto &test : cases) {
        SCOPED_TRACE(test.what);
        NativeHost host;
        host.Send(test.bytes);
        const Json::Value refused = host.NextOf("refused");
        EXPECT_EQ(test.reason, refused["reason"].asString()) << refused;
        EXPECT_FALSE(refused["text"].asString().empty());
        EXPECT_THAT(host.NamesToTheEnd(), ElementsAre("exit"));
        EXPECT_EQ(2, host.Wait());
    }
}

TEST_F(NativeTest, ASecondMessageEndsTheStart) {
    NativeHost host;
    host.Send(Text(Start("")));
    EXPECT_FALSE(host.NextOf("state").isNull());
    host.Send(Text(Start("")));
    EXPECT_EQ("too-many", host.NextOf("refused")["reason"].asString());
    EXPECT_THAT(host.NamesToTheEnd(), ElementsAre("exit"));
    EXPECT_EQ(2, host.Wait());
}

TEST_F(NativeTest, OnlyAllowedSitesStart) {
    NativeHost asked;
    asked.Send(Text(Start("stop", false)));
    const Json::Value forbidden = asked.NextOf("forbidden");
    EXPECT_EQ(server.Url(""), forbidden["sites"][0].asString());
    EXPECT_EQ(4, asked.NextOf("exit")["status"].asInt());
    EXPECT_EQ(4, asked.Wait());

    // An answer about another site is none, and is not kept.
    Json::Value other = Start("stop", false);
    other["granted"].append("https://meet.example");
    NativeHost beside;
    beside.Send(Text(other));
    EXPECT_EQ(4, beside.Wait());

    // That of a private window holds for its start.
    Json::Value hidden = Start("stop");
    hidden["private"] = true;
    NativeHost unseen;
    unseen.Send(Text(hidden));
    EXPECT_EQ(7, unseen.Wait());
    EXPECT_FALSE(std::filesystem::exists(std::string(getenv("HOME")) + "/.config/lumhost/allowed-origins"));

    NativeHost granted;
    granted.Send(Text(Start("stop")));
    EXPECT_EQ(7, granted.Wait()) << "stopped, as the script says";
    NativeHost again;
    again.Send(Text(Start("stop", false)));
    EXPECT_EQ(7, again.Wait()) << "the answer was kept";
    EXPECT_EQ(server.Url("") + "\n", ReadFile(std::string(getenv("HOME")) + "/.config/lumhost/allowed-origins"));
}

TEST_F(NativeTest, LeavingEndsADownload) {
    server.On("/kit/slow", {{.body = std::string(100'000, 'x'), .bytesPerSecond = 1000}});
    NativeHost host;
    host.Send(Text(Start("get " + server.Url("/kit/slow") + "\nopen _self /never")));
    EXPECT_TRUE(WaitUntil([this] { return !server.requests().empty(); }));
    host.Leave();
    EXPECT_THAT(host.NamesToTheEnd(), Not(Contains("navigation")));
    EXPECT_EQ(kLeft, host.Wait());
    EXPECT_EQ("exit\n", ReadFile(place / "record"));
}

TEST_F(NativeTest, LeavingEndsWhatDoesNotAnswer) {
    NativeHost host;
    host.Send(Text(Start("hang")));
    EXPECT_TRUE(WaitUntil(
        [this] { return access((place / "record").c_str(), R_OK) == 0 && ReadFile(place / "record") == "hangs\n"; }));
    host.Leave();
    EXPECT_EQ(kLeft, host.Wait());
}

TEST_F(NativeTest, EachBrowserMayCallAndNobodyElse) {
    const struct {
        std::vector<std::string> caller;
        int status;
    } cases[] = {
        {{}, kLeft},
        {{"chrome-extension://bmlpmeekaenhdnpibllcmgkpcojmiegl/"}, kLeft},
        {{"/usr/lib/mozilla/native-messaging-hosts/example.kelvo.lumhost.json", "lum@kelvo.example"}, kLeft},
        {{"chrome-extension://aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa/"}, 2},
        {{"/x.json", "other@kelvo.example"}, 2},
    };
    for (const auto &test : cases) {
        NativeHost host(test.caller);
        EXPECT_EQ(test.status == 2 ? "refused" : "hello", host.Next()["event"].asString());
        host.Leave();
        EXPECT_EQ(test.status, host.Wait());
    }
}

} // namespace
