// The program as a whole, with an extension that does as the page says, and a web server that takes down every request.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/host/LumhostRun.h"
#include "tests/support/EndlessPackage.h"

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

// A package with the component Hall.app in it.
std::string Package(const TempDir &place) {
    place.Write("packing/Hall.app/run", "code");
    OutputOf("tar -C '" + (place / "packing") + "' -czf '" + (place / "hall.tgz") + "' Hall.app");
    return ReadFile(place / "hall.tgz");
}

class LumhostWithoutWindowsTest : public LumhostTest {
protected:
    void SetUp() override {
        unsetenv("DISPLAY");
    }
};

std::vector<std::string> Names(const std::vector<Json::Value> &events) {
    std::vector<std::string> names;
    for (const Json::Value &event : events) {
        const std::string name = event["event"].asString();
        names.push_back(name == "state" ? event["state"].asString() : name);
    }
    return names;
}

TEST_F(LumhostWithoutWindowsTest, AWholeStart) {
    const std::string package = Package(place);
    server.On("/kit/lummac.ini", {{.body = "[Kelvo]\n"}});
    server.On("/kit/a%20b.tgz", {{.body = package}});
    server.On("/log", {{.status = 204}});
    const std::string url = server.Url("/kit/a b.tgz");
    const std::string installed = place / "Kelvo Folder/Hall.app";
    fs::create_directory(place / "Kelvo Folder");
    Lumhost run(Arguments(
        Page(
            "now get " + server.Url("/kit/lummac.ini") + "\ntrace 2 bad &amp; odd\nwarnings\nopen - " +
            server.Url("/log?ErrorCode=990&amp;x=y z") + "\ntrace 1 LumInstallationMgr::PrepareDownload Down file=" +
            url + ", TotalSize=" + std::to_string(package.size()) + "\nplace " + installed + "\nget " + url +
            "\ntrace 1 Init the main component...\ntrace 1 CPluginView::LoadMainComponant,Process launch successfully, "
            "process id = 4242\ntrace 1 CLumExtension::SetKelvoAppLaunched,bKelvoAppLaunched=1\nopen frame1 " +
            server.Url("/next?a=b c#room 1")),
        {"--json", "--log", place / "trace"}));
    EXPECT_EQ(0, run.Wait()) << run.Err();
    EXPECT_EQ("code", ReadFile(installed + "/run"));
    EXPECT_THAT(Record(), ElementsAre("done 8", "warnings bad%20%26%20odd",
                                      "done " + std::to_string(8 + package.size()), "install 0", "exit"));
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
    EXPECT_THAT(overview.Out(), HasSubstr("Hall.app  whole (1 file)"));
    EXPECT_EQ(0, overview.Wait());
    place.Write("Kelvo Folder/Hall.app/run", "c0de");
    EXPECT_EQ(1, Lumhost({"status"}).Wait());
    EXPECT_EQ(1, Lumhost({"remove", "Nothing.app"}).Wait());
    EXPECT_EQ(0, Lumhost({"remove", "Hall.app"}).Wait());
    EXPECT_FALSE(fs::exists(installed));
}

TEST_F(LumhostWithoutWindowsTest, WhereASiteMayInstall) {
    const std::string ask = "now get " + server.Url("/kit/lummac.ini?random=0");
    const auto item = [](const std::string &name, const std::string &target) {
        return "[Kelvo]\nCount=1\nFile1=" + name + ";p;" + target + ";1,0;1;1;a;version;;0\n";
    };
    const std::string bad = item(".bashrc", place.path().string() + "/");
    const std::string outside = "<param name=LumProductVersion value='../..'>";
    const fs::path kelvo = fs::path(getenv("HOME")) / "GNUstep/Library/ApplicationSupport/Kelvo Folder";
    fs::create_directories(kelvo);
    struct Case {
        std::string list;
        std::string more; // of the page
        const char *reach;
        const char *record;
        int status;
        std::string error;
    };
    const Case cases[] = {
        {item("Hall.app", ""), "", nullptr, "done ", 7, ""},
        {bad, "", nullptr, "failed ", 7, "lummac.ini:3: \".bashrc\" (target \"" + place.path().string()},
        {bad, "", "--anywhere", "done ", 7, ""},
        {item("Hall.app", ""), outside, "--anywhere", "done ", 7, ""},
        {item("Hall.app", ""), outside, nullptr, "", 4, "the page's LumProductVersion leads to"},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.list + test.more);
        std::ofstream(kelvo / "lummac.ini") << bad;
        std::ofstream(kelvo / "lummac.ini.plist") << "{}";
        server.On("/kit/lummac.ini", {{.body = test.list}});
        std::vector<std::string> allow = {"allow", server.Url("")};
        if (test.reach) {
            allow.emplace_back(test.reach);
        }
        EXPECT_EQ(0, Lumhost(allow).Wait());
        Lumhost run(Arguments(Page(ask + "\nstop", test.more)));
        EXPECT_EQ(test.status, run.Wait());
        EXPECT_THAT(run.Err(), HasSubstr(test.error));
        if (!test.error.empty()) {
            EXPECT_THAT(run.Err(), HasSubstr("type: lumhost allow " + server.Url("") + " --anywhere\n"));
        }
        if (test.status == 7) {
            EXPECT_THAT(Record().front(), testing::StartsWith(test.record)) << run.Err();
        }
        EXPECT_EQ(test.reach != nullptr || test.status == 4, fs::exists(kelvo / "lummac.ini.plist"))
            << "the kept copy is used";
        Lumhost allowed({"allowed"});
        EXPECT_EQ(server.Url("") + (test.reach ? "  may install anywhere\n" : "\n"), allowed.Out());
    }
}

TEST_F(LumhostWithoutWindowsTest, WhatPeopleSee) {
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

TEST_F(LumhostWithoutWindowsTest, ExitStatuses) {
    struct Case {
        const char *what;
        std::vector<std::string> arguments;
        int status;
        const char *error; // a part of standard error
    };
    const Case cases[] = {
        {"wrong use", {"--nope"}, 2, "--nope"},
        {"a log that cannot be written", Arguments(Page(""), {"--log", "/no/such/folder/log"}), 2,
         "/no/such/folder/log"},
        {"no such page", Arguments(place / "none.html"), 3, "No such file"},
        {"a folder", Arguments(place.path().string()), 3, "directory"},
        {"no such address", Arguments(server.Url("/none.html")), 3, "404"},
        {"another scheme", Arguments("https://"), 3, "is not a valid address"},
        {"nothing to start", Arguments(place.Write("plain.html", "<p>hello")), 3, "application/x-lum"},
        {"no such extension", {Page("stop"), "--extension", place / "none.bundle"}, 5, "none.bundle"},
        {"an extension that is none", {Page("stop"), "--extension", place.path().string()}, 5, "not a bundle"},
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
    server.On("/slow.html", {{.body = std::string(100'000, ' '), .bytesPerSecond = 1000}});
    EXPECT_EQ(8, Lumhost(Arguments(server.Url("/slow.html"), {"--timeout", "0.5"})).Wait()) << "before the start";
}

TEST_F(LumhostWithoutWindowsTest, SitesThatAreNotAllowed) {
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
    server.On("/elsewhere.html", {{.body = R"(<object type="application/x-lum"><param name="LumUrlRoot" value=")" +
                                           other.Url("/kit") + R"("></object>)"}});
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

TEST_F(LumhostWithoutWindowsTest, NothingFollowsAStop) {
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

TEST_F(LumhostWithoutWindowsTest, SignalsEndItInOrder) {
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
        fs::remove(cache / "empty"); // the working folder, which stays
        EXPECT_TRUE(!fs::exists(cache) || fs::is_empty(cache)) << "nothing half is left";
    }
}

TEST_F(LumhostWithoutWindowsTest, EndsWhateverAPackageDoes) {
    server.On("/kit/a.tgz", {{.body = EndlessPackage(place)}, {.body = EndlessPackage(place)}});
    const std::string folder = place / "Kelvo Folder";
    fs::create_directory(folder);
    const std::string page = Page("place " + folder + "/Hall.app\nget " + server.Url("/kit/a.tgz"));
    for (const bool bySignal : {true, false}) {
        Lumhost run(Arguments(page, {"--json", "--timeout", bySignal ? "100" : "2"}));
        EXPECT_TRUE(WaitUntil([&] { return !fs::is_empty(folder); }));
        if (bySignal) {
            run.Signal(SIGTERM);
        }
        EXPECT_EQ(bySignal ? 128 + SIGTERM : 8, run.Wait());
        EXPECT_THAT(Record(), ElementsAre(HasSubstr("done "), "install 20100", "exit"));
        EXPECT_TRUE(fs::is_empty(folder)) << "nothing half is left";
    }
}

TEST_F(LumhostWithoutWindowsTest, ReportForSupport) {
    setenv("XDG_STATE_HOME", (place / "state").c_str(), 1);
    EXPECT_EQ(1, Lumhost({"--report", place / "report.tgz"}).Wait()) << "there was no start yet";
    Lumhost run(
        Arguments(Page("trace 1 meeting 471123 in " + fs::path(getenv("HOME")).string() + "\nmessage 5 Error [5]",
                       "<param name=MeetingID value=471123>"),
                  {"--report", place / "report.tgz"}));
    EXPECT_EQ(1, run.Wait());
    struct stat status {};
    ASSERT_EQ(0, stat((place / "report.tgz").c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777);
    OutputOf("tar -C '" + place.path().string() + "' -xzf '" + (place / "report.tgz") + "'");
    const std::string report = place / "lumhost-report";
    const std::string trace = ReadFile(report + "/trace.txt");
    EXPECT_THAT(trace, HasSubstr(" <MeetingID> in ~"));
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
