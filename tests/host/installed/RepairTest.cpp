// What is damaged, replaced, repaired and removed, with the true extension and a site.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include "tests/host/LumhostRun.h"
#include "tests/support/TestSite.h"

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

namespace {

class RepairTest : public LumhostTest {
protected:
    RepairTest() {
        unsetenv("DISPLAY");
        identity = TestSite::MakeIdentity(place, "www.kelvo.example");
        OutputOf("install -D -m 600 '" + (place / "site-ca.pem") + "' '" + home +
                 "/.config/lum/certificates/trusted/ca.pem'");
        page = place.Write(
            "page.html", R"(<object type="application/x-lum"><param name="LumUrlRoot" value=")" + server.Url("") +
                             R"("><param name="LumComponentName" value="Part.bundle">)" +
                             R"(<param name="LumDownloadOnly" value="TRUE">)" +
                             R"(<param name="szNextUrl" value="http://next"><param name="MeetingID" value="471123">)" +
                             R"(<param name="lumcertification" value=")" + identity.certification + R"("></object>)");
        Publish("1,0,0,0", "first");
    }

    void Publish(const std::string &version, const std::string &text, const std::string &update = "existence") {
        const std::string name = "part-" + text + ".tgz";
        std::string points = version;
        std::replace(points.begin(), points.end(), ',', '.');
        place.WriteBundle("packing/Part.bundle", points);
        place.Write("packing/Part.bundle/data", text);
        fs::permissions(
            place.Write("packing/Part.bundle/run", "#!/bin/sh\n# " + text + "\nwhile :; do sleep 1; done\n"),
            fs::perms::owner_all);
        OutputOf("tar -C '" + (place / "packing") + "' -czf '" + (place / name) + "' Part.bundle");
        const TestSite::Item item{.name = "Part.bundle", .url = name, .version = version, .update = update};
        server.On("/" + name, {{.body = ReadFile(place / name)}});
        server.On("/lummac.ini",
                  {{.body = "[Kelvo]\nCount=1\nFile1=" + TestSite::ItemLine(identity, item, place / name) + "\n"}});
    }

    std::size_t Packages() const {
        std::size_t count = 0;
        for (const auto &request : server.requests()) {
            count += request.path.starts_with("/part-");
        }
        return count;
    }

    static std::string Said(const std::vector<std::string> &arguments, int status) {
        Lumhost run(arguments);
        EXPECT_EQ(status, run.Wait()) << run.Err();
        return run.Out() + run.Err();
    }

    const std::string home = getenv("HOME");
    const fs::path part = home + "/GNUstep/Library/ApplicationSupport/Kelvo Folder/Part.bundle";
    SiteIdentity identity;
    std::string page;
};

TEST_F(RepairTest, DamageIsFoundAndFetchedAgain) {
    Said({page}, 0);
    EXPECT_THAT(Said({"status"}, 0), HasSubstr("Part.bundle  1.0.0.0  whole (3 files)  from " + server.Url("")));
    const std::string json = Said({"status", "--json"}, 0);
    EXPECT_THAT(json, AllOf(HasSubstr("\"site\" : \"" + server.Url("")), HasSubstr("\"state\" : \"whole\"")));
    const std::string record = ReadFile(home + "/.local/share/lumhost/installed.json");
    EXPECT_THAT(record, AllOf(HasSubstr("\"xxh3\""), testing::Not(HasSubstr("471123"))));

    const auto write = [](const fs::path &file, const std::string &text) { std::ofstream(file) << text; };
    struct Case {
        const char *what;
        std::function<void()> damage;
        bool atStart; // a start finds it, not only "repair"
    };
    const Case cases[] = {
        {"nothing", [] {}, false},
        {"program missing", [&] { fs::remove(part / "run"); }, true},
        {"program shortened", [&] { fs::resize_file(part / "run", 5); }, true},
        {"program not executable", [&] { fs::permissions(part / "run", fs::perms::owner_read); }, true},
        {"program overwritten", [&] { write(part / "run", std::string(fs::file_size(part / "run"), 'x')); }, true},
        {"program touched", [&] { fs::last_write_time(part / "run", fs::file_time_type::clock::now()); }, false},
        {"data changed", [&] { write(part / "data", "fIrst"); }, false},
        {"data missing", [&] { fs::remove(part / "data"); }, false},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.what);
        test.damage();
        std::size_t before = Packages();
        const bool damaged = Lumhost({"status"}).Wait() != 0;
        EXPECT_EQ(test.atStart, Said({page}, 0).find("Part.bundle is damaged: ") != std::string::npos);
        EXPECT_EQ(before + test.atStart, Packages());
        before = Packages();
        const bool left = damaged && !test.atStart;
        EXPECT_THAT(Said({"repair"}, 0), HasSubstr(left ? "repaired: Part.bundle" : "nothing is damaged"));
        EXPECT_EQ(before + left, Packages());
        EXPECT_EQ(0, Lumhost({"status"}).Wait());
        EXPECT_EQ(0755U, fs::status(part / "run").permissions() == fs::perms(0755) ? 0755U : 0U);
    }
    EXPECT_THAT(Said({"repair", "Other.app"}, 1), HasSubstr("\"Other.app\" is not installed"));
}

// A full disk kept the record from being written: the next start settles it.
TEST_F(RepairTest, WhatWasReplacedIsNotDamaged) {
    const std::string record = home + "/.local/share/lumhost/installed.json";
    Said({page}, 0);
    const std::string old = ReadFile(record);
    Publish("2,0,0,0", "second", "always");
    Said({page}, 0);
    Publish("2,0,0,0", "second");
    std::ofstream(record) << old;
    EXPECT_THAT(Said({"status"}, 0), HasSubstr("Part.bundle  2.0.0.0  not on record"));
    const std::size_t before = Packages();
    Said({page}, 0);
    EXPECT_EQ(before, Packages());
    EXPECT_THAT(Said({"status"}, 0), HasSubstr("2.0.0.0  whole (3 files)"));

    fs::remove(part / "data"); // where it came from is not known now
    EXPECT_THAT(Said({"repair"}, 1), HasSubstr("it is not known where \"Part.bundle\" came from"));
    Said({"repair", page}, 0);
    EXPECT_THAT(Said({"status"}, 0), HasSubstr("whole (3 files)  from"));
}

TEST_F(RepairTest, RemovedWithItsSiteButNotWhileItRuns) {
    Said({page}, 0);
    {
        ChildProcess running(part / "run", {});
        EXPECT_TRUE(WaitUntil([&] {
            Lumhost remove({"remove", "Part.bundle"});
            return remove.Wait() == 1 && remove.Err().find("run runs: end it first") != std::string::npos;
        }));
        EXPECT_THAT(Said({"remove", "--all"}, 1), HasSubstr("runs: end it first"));
        EXPECT_TRUE(fs::exists(part / "run"));
    }
    Said({"forbid", "https://other.example", "--remove"}, 0);
    EXPECT_TRUE(fs::exists(part));
    EXPECT_THAT(Said({"forbid", server.Url(""), "--remove"}, 0), HasSubstr("removed: 1"));
    EXPECT_FALSE(fs::exists(part));
    Allow(server.Url(""));
    Said({page}, 0);
    Said({"remove", "--all"}, 0);
    for (const char *left : {"/.local/share/lumhost", "/.local/state/lumhost", "/.cache/lumhost"}) {
        EXPECT_FALSE(fs::exists(home + left)) << left;
    }
    EXPECT_TRUE(fs::exists(home + "/.config/lumhost/allowed-origins"));
}

} // namespace
