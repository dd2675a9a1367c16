// The program and a site with signed releases: what it asks for, and what an attacker gets to hear.
#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

#include "tests/host/LumhostRun.h"
#include "tests/host/release/ServedRelease.h"

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

class LumhostReleaseTest : public LumhostTest {
protected:
    LumhostReleaseTest() {
        unsetenv("DISPLAY");
    }
    void Pin(const std::string &option = "--root") {
        Lumhost allow({"allow", server.Url(""), option, release.root});
        EXPECT_EQ(0, allow.Wait()) << allow.Err();
    }
    // A start that fetches the instruction file and the package; the extension then asks to be stopped.
    std::string Visit(std::vector<std::string> record, const std::string &more = "") {
        server.ForgetRequests();
        Lumhost run(Arguments(Page("get " + server.Url("/kit/lummac.ini?random=0") + more + "\nget " +
                                   server.Url("/kit/packages/a.tgz?random=4711") + "\nstop"),
                              {"--json"}));
        EXPECT_EQ(7, run.Wait()) << run.Err();
        record.push_back("exit");
        EXPECT_EQ(record, Record()) << run.Err();
        return run.Out() + run.Err();
    }

    ServedRelease release{server};
    const std::string ini = "GET " + ServedRelease::PathOf("lummac.ini", "[Kelvo]\n");
    const std::string package = "GET " + ServedRelease::PathOf("packages/a.tgz", ServedRelease::kPackage);
};

TEST_F(LumhostReleaseTest, FetchesTheReleaseAndNothingTwice) {
    Pin();
    Visit({"done 8", "done 17"});
    server.ExpectExactly({"GET /kit/release/2.root.json", "GET /kit/release/timestamp.json",
                          "GET /kit/release/2.snapshot.json", "GET /kit/release/2.targets.json", ini, package});
    for (const auto &request : server.requests()) {
        EXPECT_EQ("", request.query);
    }
    Visit({"done 0", "done 9"});
    server.ExpectExactly({"GET /kit/release/2.root.json", "GET /kit/release/timestamp.json", package});

    // A rotated root is followed; `allowed`, `status` and `doctor` show what is in use.
    release.SetKeys("root", {7, 8, 9}, 2);
    release.signers["root"] = {0, 1, 7, 8};
    release.PublishRoot();
    release.Add("lummac.ini", "[Kelvo]\n;2\n");
    release.Write();
    Visit({"done 11", "done 20"});
    Lumhost allowed({"allowed"});
    EXPECT_THAT(allowed.Out(), AllOf(HasSubstr(server.Url("") + "\n  signed releases, set by the user"),
                                     HasSubstr("root 2, SHA-256 " + base::DigestOfText(release.Served("root"))),
                                     HasSubstr("release 3 (root 2, snapshot 3, targets 3), good until 2099-01-01")));
    EXPECT_THAT(Lumhost({"status"}).Out(), HasSubstr("Signed releases in use\n" + server.Url("") + "\n  release 3"));
    EXPECT_THAT(Lumhost({"doctor"}).Out(), HasSubstr("ok    release of " + server.Url("") + ": release 3"));
}

TEST_F(LumhostReleaseTest, GoesOnWithoutNetwork) {
    Pin();
    Visit({"done 8", "done 17"});
    server.On("/kit/release/2.root.json", {{.status = 503}}); // the answer of many a captive network
    EXPECT_THAT(Visit({"done 0", "done 9"}),
                AllOf(HasSubstr("\"notice\""), HasSubstr("going on with the saved one, which is good until 2099")));
    fs::remove_all(release.metadata());
    server.On("/kit/release/timestamp.json", {{.status = 500}});
    EXPECT_THAT(Visit({"done 0", "failed 0"}), HasSubstr("a download failed"));
}

TEST_F(LumhostReleaseTest, RefusesInASentence) {
    struct Case {
        const char *attack;
        std::function<void(ServedRelease &)> tried;
        const char *sentence;
        std::vector<std::string> record = {"failed 0", "failed 0"};
    };
    const Case cases[] = {
        {"rollback",
         [](ServedRelease &r) {
             r.content["timestamp"]["version"] = 1;
             r.Serve("timestamp");
             r.WriteMetadata();
         },
         "timestamp.json has version 1, older than version 2 that was accepted before"},
        {"freeze",
         [](ServedRelease &r) {
             r.content["timestamp"]["expires"] = "2026-05-01T08:30:00Z";
             r.Write();
         },
         "timestamp.json expired on 2026-05-01 08:30:00 UTC"},
        {"another's key",
         [](ServedRelease &r) {
             r.signers["timestamp"] = {9};
             r.Write();
         },
         "timestamp.json is not signed by 1 of the 1 keys of the role"},
        {"another's root",
         [](ServedRelease &r) {
             r.SetKeys("root", {7, 8, 9}, 2);
             r.PublishRoot();
             r.WriteMetadata();
         },
         "If the operator confirms, by another way than the site, that its keys were lost, type: lumhost allow "},
        {"back to unsigned", [](ServedRelease &r) { fs::remove_all(r.metadata()); },
         "this site has signed releases, so its unsigned files are not accepted. Tell the operator"},
        {"another instruction file",
         [](ServedRelease &r) {
             r.Add("lummac.ini", "[Kelvo]\n;2\n");
             r.Tamper("lummac.ini", "[Kelvo]\n;2\n", "[Kelvo]\n;3\n");
             r.Write();
         },
         "lummac.ini is not the file of the release: its sha256 hash differs",
         {"failed 11", "done 20"}},
        {"another package",
         [](ServedRelease &r) { r.Tamper("packages/a.tgz", ServedRelease::kPackage, "b package"); },
         "packages/a.tgz is not the file of the release: its sha256 hash differs",
         {"done 0", "failed 9"}},
        {"a package that is too long",
         [](ServedRelease &r) { r.Tamper("packages/a.tgz", ServedRelease::kPackage, "a package and more"); },
         "packages/a.tgz is longer than the 9 bytes that the release lists",
         {"done 0", "failed 0"}},
        {"a package outside of the release",
         [](ServedRelease &r) {
             r.content["targets"]["targets"].removeMember("packages/a.tgz");
             r.Write();
         },
         "packages/a.tgz\\\" is not in the release of the site; the site has to publish it",
         {"done 0", "failed 0"}},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.attack);
        ServedRelease attacked(server);
        EXPECT_EQ(0, Lumhost({"forbid", server.Url("")}).Wait());
        Pin();
        Visit({"done 8", "done 17"});
        test.tried(attacked);
        const std::string said = Visit(test.record);
        EXPECT_THAT(said, AllOf(HasSubstr("\"problem\",\"text\":\"the release of " + server.Url("") + " is refused: "),
                                HasSubstr(test.sentence)));
        Visit(test.record); // nothing of it was accepted
    }
}

TEST_F(LumhostReleaseTest, TakesWhicheverMirrorAnswers) {
    FaultServer silent;
    FaultServer forger;
    FaultServer good;
    release.content["targets"]["custom"]["mirrors"] = Json::arrayValue;
    for (const FaultServer *mirror : {&forger, &silent, &good}) {
        release.content["targets"]["custom"]["mirrors"].append(mirror->Url("/release/targets"));
    }
    const std::string iniThere = ini.substr(8);
    const std::string packageThere = package.substr(8);
    silent.On(iniThere, {{.delay = std::chrono::seconds(20)}});
    forger.On(iniThere, {{.body = "[Kelvi]\n"}});
    good.On(iniThere, {{.body = "[Kelvo]\n"}});
    good.On(packageThere, {{.body = ServedRelease::kPackage, .dropAfter = 3}});
    release.Write();
    Pin();
    Visit({"done 8", "done 17"});
    good.ExpectExactly({"GET " + iniThere, "GET " + packageThere});
}

TEST_F(LumhostReleaseTest, KeepsToItsPin) {
    Pin();
    const std::string other = place.Write("other.json", release.Served("timestamp"));
    TestRelease another;
    const std::string root = place.Write("another.json", another.Served("root"));
    struct Case {
        std::vector<std::string> arguments;
        int status;
        const char *said;
    };
    const Case cases[] = {
        {{"--root", release.root}, 0, "signed releases, set by the user"}, // once more
        {{"--root", root}, 1, "is pinned to another root"},
        {{"--root", other}, 1, "other.json is not accepted: root.json"},
        {{"--root", place / "none"}, 1, "none"},
        {{"--root", root, "--new-root", root}, 2, "not both"},
        {{"--new-root", root}, 0, "the next start cannot tell an old release from a new one"},
    };
    for (const Case &test : cases) {
        std::vector<std::string> arguments = {"allow", server.Url("")};
        arguments.insert(arguments.end(), test.arguments.begin(), test.arguments.end());
        Lumhost run(arguments);
        EXPECT_EQ(test.status, run.Wait());
        EXPECT_THAT(run.Out() + run.Err(), HasSubstr(test.said));
    }
    // A page of the pinned site may not name another place, either.
    FaultServer elsewhere;
    elsewhere.On("/kit/lummac.ini", {{.body = "[Kelvo]\n"}});
    Allow(elsewhere.Url(""));
    const std::string page = R"(<object type="application/x-lum"><param name="LumUrlRoot" value=")" +
                             elsewhere.Url("/kit") + R"("><param name="Script" value="get )" +
                             elsewhere.Url("/kit/lummac.ini") + "\nstop\"></object>";
    server.On("/page.html", {{.body = page}});
    Lumhost run(Arguments(server.Url("/page.html")));
    EXPECT_EQ(7, run.Wait());
    EXPECT_THAT(run.Err(), HasSubstr("the release of " + server.Url("") + " is refused"));
    EXPECT_EQ(0, Lumhost({"forbid", server.Url("")}).Wait());
    EXPECT_EQ(elsewhere.Url("") + "\n", Lumhost({"allowed"}).Out());
}

} // namespace
