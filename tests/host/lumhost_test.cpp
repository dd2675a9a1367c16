// The program as a whole, with an extension that does as the page says, and a web server that takes down every request.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <json/json.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include "tests/support/FaultServer.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

// A run of the program; its output is read when it has ended.
class Lumhost {
public:
    explicit Lumhost(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), TEST_LUMHOST);
        std::vector<char *> words;
        for (std::string &argument : arguments) {
            words.push_back(argument.data());
        }
        words.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        const int flags = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, (m_place / "out").c_str(), flags, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, (m_place / "err").c_str(), flags, 0600);
        EXPECT_EQ(0, posix_spawn(&m_pid, TEST_LUMHOST, &actions, nullptr, words.data(), environ));
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Lumhost() {
        if (!m_ended) {
            kill(m_pid, SIGKILL);
            Wait();
        }
    }

    void Signal(int number) const { kill(m_pid, number); }

    int Wait() {
        if (!m_ended) {
            int status = 0;
            waitpid(m_pid, &status, 0);
            m_ended = true;
            m_status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        }
        return m_status;
    }

    std::string Out() { return Wait(), ReadFile(m_place / "out"); }
    std::string Err() { return Wait(), ReadFile(m_place / "err"); }
    std::string OutSoFar() const { return ReadFile(m_place / "out"); }

    std::vector<Json::Value> Events() {
        std::vector<Json::Value> events;
        std::istringstream lines(Out());
        for (std::string line; std::getline(lines, line);) {
            Json::Value event;
            std::istringstream(line) >> event;
            events.push_back(event);
        }
        return events;
    }

private:
    const TempDir m_place;
    pid_t m_pid = -1;
    bool m_ended = false;
    int m_status = 0;
};

class LumhostTest : public testing::Test {
protected:
    void SetUp() override {
        unsetenv("DISPLAY");
        for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME"}) {
            unsetenv(name);
        }
        Allow(server.Url(""));
    }

    static void Allow(const std::string &site) { EXPECT_EQ(0, Lumhost({"allow", site}).Wait()); }

    // A page whose extension does this.
    std::string Page(const std::string &script, const std::string &more = "") const {
        return place.Write("page.html", R"(<object type="application/x-lum"><param name="LumUrlRoot" value=")" +
                                            server.Url("/kit") + R"("><param name="Record" value=")" + (place / "record") +
                                            R"("><param name="Script" value=")" + script + R"(">)" + more + "</object>");
    }

    std::vector<std::string> Arguments(const std::string &page, std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {page, "--extension", TEST_FAKE_EXTENSION});
        return more;
    }

    std::vector<std::string> Record() const {
        std::vector<std::string> lines;
        std::istringstream record(ReadFile(place / "record"));
        for (std::string line; std::getline(record, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    // A package with the component Hall.app in it.
    std::string Package() const {
        place.Write("packing/Hall.app/run", "code");
        EXPECT_EQ(0, system(("tar -C '" + (place / "packing") + "' -czf '" + (place / "hall.tgz") + "' Hall.app").c_str()));
        return ReadFile(place / "hall.tgz");
    }

    bool WaitForRequest(const std::string &line) {
        for (int i = 0; i < 1000; ++i) {
            const auto requests = server.requests();
            for (const auto &request : requests) {
                if (request.method + " " + request.path == line) {
                    return true;
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }

    const TempDir place;
    FaultServer server;
};

std::vector<std::string> Names(const std::vector<Json::Value> &events) {
    std::vector<std::string> names;
    for (const Json::Value &event : events) {
        const std::string name = event["event"].asString();
        names.push_back(name == "state" ? event["state"].asString() : name);
    }
    return names;
}

TEST_F(LumhostTest, AWholeStart) {
    const std::string package = Package();
    server.On("/kit/lummac.ini", {{.body = "[Kelvo]\n"}});
    server.On("/kit/a%20b.tgz", {{.body = package}});
    server.On("/log", {{.status = 204}});
    const std::string url = server.Url("/kit/a b.tgz");
    const std::string installed = place / "Kelvo Folder/Hall.app";
    fs::create_directory(place / "Kelvo Folder");
    Lumhost run(Arguments(
        Page("now get " + server.Url("/kit/lummac.ini") + "\ntrace 2 bad &amp; odd\nwarnings\nopen - " + server.Url("/log?ErrorCode=990&amp;x=y z") +
             "\ntrace 1 LumInstallationMgr::PrepareDownload Down file=" + url + ", TotalSize=" +
             std::to_string(package.size()) + "\nplace " + installed + "\nget " + url + "\ntrace 1 Init the main component...\ntrace 1 CPluginView::LoadMainComponant,Process launch successfully, "
             "process id = 4242\ntrace 1 CLumExtension::SetKelvoAppLaunched,bKelvoAppLaunched=1\nopen frame1 " +
             server.Url("/next?a=b c#room 1")),
        {"--json", "--log", place / "trace"}));
    EXPECT_EQ(0, run.Wait()) << run.Err();
    EXPECT_EQ("code", ReadFile(installed + "/run"));
    EXPECT_THAT(Record(), ElementsAre("done 8", "warnings bad%20%26%20odd", "done " + std::to_string(8 + package.size()),
                                      "install 0", "exit"));
    server.ExpectExactly({"GET /kit/lummac.ini", "GET /log", "GET /kit/a%20b.tgz"});

    const std::vector<Json::Value> events = run.Events();
    EXPECT_THAT(Names(events), ElementsAre("starting", "instructions", "log", "downloading", "progress", "installing",
                                           "launching", "launched", "navigation", "exit"));
    std::map<std::string, Json::Value> last;
    for (const Json::Value &event : events) {
        last[event["event"].asString()] = event;
    }
    EXPECT_EQ(990, last["log"]["code"].asInt());
    EXPECT_EQ(package.size(), last["progress"]["received"].asUInt64());
    EXPECT_EQ(package.size(), last["progress"]["total"].asUInt64());
    EXPECT_EQ(100, last["progress"]["percent"].asInt());
    EXPECT_TRUE(last["progress"].isMember("secondsLeft") && last["progress"].isMember("bytesPerSecond"));
    EXPECT_EQ(4242, last["launched"]["pid"].asInt());
    EXPECT_FALSE(last["launched"]["joined"].asBool());
    EXPECT_EQ("frame1", last["navigation"]["target"].asString());
    EXPECT_EQ(server.Url("/next?a=b%20c#room%201"), last["navigation"]["url"].asString());
    EXPECT_EQ(0, last["exit"]["status"].asInt());
    EXPECT_EQ(0, last["exit"]["message"].asInt());

    EXPECT_THAT(ReadFile(place / "trace"), HasSubstr(" warning bad & odd\n"));
    struct stat status {};
    ASSERT_EQ(0, stat((place / "trace").c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777);

    Lumhost overview({"status"});
    EXPECT_THAT(overview.Out(), HasSubstr("Hall.app  whole (1 files)"));
    EXPECT_EQ(0, overview.Wait());
    place.Write("Kelvo Folder/Hall.app/run", "c0de");
    EXPECT_EQ(1, Lumhost({"status"}).Wait());
    EXPECT_EQ(1, Lumhost({"remove", "Nothing.app"}).Wait());
    EXPECT_EQ(0, Lumhost({"remove", "Hall.app"}).Wait());
    EXPECT_FALSE(fs::exists(installed));
}

TEST_F(LumhostTest, WhatPeopleSee) {
    server.On("/kit/a", {{.status = 404}});
    Lumhost run(Arguments(Page("get " + server.Url("/kit/a") + "\nmessage 7002 Setup failed.\x1b[2J\n\nError [9]")));
    EXPECT_EQ(1, run.Wait());
    EXPECT_THAT(run.Err(), HasSubstr("lumhost: message 7002: Setup failed.?[2J\n")) << "the trace knows the number";
    EXPECT_THAT(run.Err(), HasSubstr("404"));
    EXPECT_THAT(Record(), ElementsAre("failed 0", "exit"));

    Lumhost sent(Arguments(Page("open _self /else\nopen _self ")));
    EXPECT_EQ(0, sent.Wait());
    EXPECT_THAT(sent.Out(), HasSubstr("lumhost: page _self -> /else\n"));
    Lumhost nowhere(Arguments(Page("open _self -")));
    EXPECT_EQ(0, nowhere.Wait());
    EXPECT_THAT(nowhere.Out(), HasSubstr("lumhost: page _self -> (no address)\n"));
}

TEST_F(LumhostTest, ExitStatuses) {
    struct Case {
        const char *what;
        std::vector<std::string> arguments;
        int status;
        const char *error; // a part of standard error
    };
    const Case cases[] = {
        {"wrong use", {"--nope"}, 2, "--nope"},
        {"a log that cannot be written", Arguments(Page(""), {"--log", "/no/such/folder/log"}), 2, "/no/such/folder/log"},
        {"no such page", Arguments(place / "none.html"), 3, "No such file"},
        {"a folder", Arguments(place.path().string()), 3, "directory"},
        {"no such address", Arguments(server.Url("/none.html")), 3, "404"},
        {"another scheme", Arguments("https://"), 3, "no usable address"},
        {"nothing to start", Arguments(place.Write("plain.html", "<p>hello")), 3, "application/x-lum"},
        {"no such extension", {Page("stop"), "--extension", place / "none.bundle"}, 5, "none.bundle"},
        {"an extension that is none", {Page("stop"), "--extension", place.path().string()}, 5, "no bundle"},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.what);
        Lumhost run(test.arguments);
        EXPECT_EQ(test.status, run.Wait());
        EXPECT_THAT(run.Err(), HasSubstr(test.error));
    }
    // From here on the extension is started; it always hears of its end.
    const std::pair<std::string, int> scripts[] = {
        {"message - Something is wrong", 1}, {"trace 1 Download is done", 6}, {"stop", 7}};
    for (const auto &[script, status] : scripts) {
        Lumhost run(Arguments(Page(script)));
        EXPECT_EQ(status, run.Wait()) << script;
        EXPECT_THAT(Record(), ElementsAre("exit"));
    }
    EXPECT_EQ(8, Lumhost(Arguments(Page(""), {"--timeout", "0.5"})).Wait());
    EXPECT_THAT(Record(), ElementsAre("exit"));
}

TEST_F(LumhostTest, SitesThatAreNotAllowed) {
    EXPECT_EQ(0, Lumhost({"forbid", server.Url("")}).Wait());
    const std::string page = Page("open _self " + server.Url("/next"));
    Lumhost file(Arguments(page));
    EXPECT_EQ(4, file.Wait());
    EXPECT_THAT(file.Err(), HasSubstr("lumhost allow " + server.Url("")));
    EXPECT_THAT(fs::exists(place / "record"), false) << "the extension has not been started";

    // A page from one site whose packages come from another: both count.
    FaultServer other;
    server.On("/page.html", {{.body = ReadFile(page)}});
    other.On("/go", {{.status = 302, .headers = {"Location: " + server.Url("/page.html")}}});
    server.On("/elsewhere.html",
              {{.body = R"(<object type="application/x-lum"><param name="LumUrlRoot" value=")" + other.Url("/kit") + R"("></object>)"}});
    Allow(other.Url(""));
    EXPECT_EQ(4, Lumhost(Arguments(other.Url("/go"))).Wait()) << "a redirect leads to a page of the other site";
    EXPECT_EQ(4, Lumhost(Arguments(server.Url("/elsewhere.html"))).Wait());
    Allow(server.Url(""));
    EXPECT_EQ(0, Lumhost({"forbid", other.Url("")}).Wait());
    Lumhost both(Arguments(server.Url("/elsewhere.html")));
    EXPECT_EQ(4, both.Wait());
    EXPECT_THAT(both.Err(), AllOf(HasSubstr(other.Url("")), Not(HasSubstr(server.Url("")))));
    EXPECT_EQ(0, Lumhost(Arguments(server.Url("/page.html"))).Wait());

    // An allowed page gets nothing from a third site.
    Lumhost third(Arguments(Page("get " + other.Url("/kit/a") + "\nstop")));
    EXPECT_EQ(7, third.Wait());
    EXPECT_THAT(Record(), ElementsAre("failed 0", "exit"));
    EXPECT_THAT(third.Err(), HasSubstr("nothing is downloaded from " + other.Url("")));
}

TEST_F(LumhostTest, NothingFollowsAStop) {
    server.On("/kit/slow", {{.body = std::string(100'000, 'x'), .bytesPerSecond = 20'000}});
    server.On("/kit/after", {{.body = "x"}});
    Lumhost run(Arguments(Page("start " + server.Url("/kit/slow") + "\nafterstop " + server.Url("/kit/after"))));
    EXPECT_EQ(7, run.Wait());
    EXPECT_THAT(Record(), ElementsAre("install 20100", "parameter 1", "exit")) << "no download has called back";
    EXPECT_THAT(run.Out() + run.Err(), AllOf(Not(HasSubstr("after the stop")), Not(HasSubstr("page _self"))));
    // Only the request to the log was made.
    EXPECT_TRUE(WaitForRequest("GET /kit/after"));
    std::size_t after = 0;
    for (const auto &request : server.requests()) {
        after += request.path == "/kit/after";
    }
    EXPECT_EQ(1U, after);
}

TEST_F(LumhostTest, SignalsEndItInOrder) {
    for (const int number : {SIGINT, SIGTERM}) {
        server.ForgetRequests();
        server.On("/kit/slow", {{.body = std::string(100'000, 'x'), .bytesPerSecond = 1000}});
        Lumhost run(Arguments(Page("get " + server.Url("/kit/slow")), {"--json"}));
        ASSERT_TRUE(WaitForRequest("GET /kit/slow"));
        run.Signal(number);
        EXPECT_EQ(128 + number, run.Wait());
        EXPECT_THAT(Record(), ElementsAre("exit"));
        EXPECT_EQ(128 + number, run.Events().back()["status"].asInt());
        const fs::path cache = fs::path(getenv("HOME")) / ".cache/lumhost";
        EXPECT_TRUE(!fs::exists(cache) || fs::is_empty(cache)) << "nothing half is left";
    }
}

TEST_F(LumhostTest, ReportForSupport) {
    setenv("XDG_STATE_HOME", (place / "state").c_str(), 1);
    EXPECT_EQ(1, Lumhost({"--report", place / "report.tgz"}).Wait()) << "there was no start yet";
    Lumhost run(Arguments(Page("trace 1 meeting 471123 in " + fs::path(getenv("HOME")).string() + "\nmessage 5 Error [5]",
                               "<param name=MeetingID value=471123>"),
                          {"--report", place / "report.tgz"}));
    EXPECT_EQ(1, run.Wait());
    struct stat status {};
    ASSERT_EQ(0, stat((place / "report.tgz").c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777);
    EXPECT_EQ(0, system(("tar -C '" + place.path().string() + "' -xzf '" + (place / "report.tgz") + "'").c_str()));
    const std::string report = place / "lumhost-report";
    const std::string trace = ReadFile(report + "/trace.txt");
    EXPECT_THAT(trace, HasSubstr("meeting <MeetingID> in ~"));
    std::string all;
    for (const char *name : {"README.txt", "facts.json", "trace.txt", "installed.txt", "doctor.txt"}) {
        all += ReadFile(report + "/" + name);
    }
    EXPECT_THAT(all, AllOf(Not(HasSubstr("471123")), Not(HasSubstr(getenv("HOME")))));
    Json::Value facts;
    std::istringstream(ReadFile(report + "/facts.json")) >> facts;
    EXPECT_EQ("1", facts["status"].asString());
    EXPECT_EQ("5", facts["message"].asString());
    EXPECT_EQ("6 bytes", facts["parameter MeetingID"].asString());
}

} // namespace
