#include "site/publish/Publisher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "delivery/instructions/InstructionFile.h"
#include "tests/site/DemoSite.h"

namespace fs = std::filesystem;
using namespace delivery;
using namespace lumsite;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::string Refusal(const DemoSite &demo, const PublishOptions &options = {}) {
    return ErrorOf(demo.TryPublish(options));
}

// Inode and time of modification: both change when a file is written anew.
std::map<std::string, std::pair<ino_t, long>> Stamps(const fs::path &folder) {
    std::map<std::string, std::pair<ino_t, long>> stamps;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder)) {
        struct stat status {};
        if (entry.is_regular_file() && stat(entry.path().c_str(), &status) == 0) {
            stamps[fs::relative(entry.path(), folder)] = {status.st_ino,
                                                          status.st_mtim.tv_sec * 1000000000 + status.st_mtim.tv_nsec};
        }
    }
    return stamps;
}

std::vector<std::string> Temporaries(const fs::path &folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().filename().string().starts_with(".new-")) {
            names.push_back(entry.path());
        }
    }
    return names;
}

std::string Problems(const DemoSite &demo) {
    base::Findings findings = ReportOn(demo.site()).findings;
    std::erase_if(findings, [](const base::Finding &f) { return f.severity == base::Severity::Note; });
    return TextOf(findings);
}

} // namespace

TEST(Publisher, PublishesWhatTheExtensionAccepts) {
    DemoSite demo;
    const PublishResult result = demo.Publish();
    EXPECT_EQ(TextOf(result.findings), "");
    EXPECT_EQ(Problems(demo), "");
    EXPECT_EQ(result.items[0].installedLibrary, "libklv-1.2.3.4.dylib");
    EXPECT_EQ(result.items[1].installedLibrary, "");
    EXPECT_THAT(demo.PackageOf("Meeting Hall.app"),
                testing::MatchesRegex("packages/Meeting_Hall.app-2.1.3.4-[0-9a-f]*.tar.zst"));
    EXPECT_THAT(demo.Instructions(), HasSubstr("[Kelvo]\nCount=3\nFile1=libklv.dylib;packages/libklv.dylib-"));
    EXPECT_THAT(demo.Instructions(), HasSubstr(".tar.gz;;1,2,3,4;8;"));
    EXPECT_THAT(demo.Instructions(), HasSubstr("File3=confshell.bundle;"));
    EXPECT_THAT(demo.Instructions(), HasSubstr(";install;version;reboot;0;"));
}

TEST(Publisher, SameInputGivesSameBytesAndOnlyTheChangedIsWritten) {
    DemoSite demo;
    demo.Publish();
    const auto tree = Tree(demo.site());
    const auto stamps = Stamps(demo.site());
    EXPECT_THAT(demo.Publish().written, IsEmpty());
    EXPECT_EQ(Stamps(demo.site()), stamps);
    EXPECT_EQ(ErrorOf(Publish(demo.manifest(), demo.place() / "elsewhere")), "");
    EXPECT_EQ(Tree(demo.place() / "elsewhere"), tree);

    WriteBundle(demo.place(), "parts/confshell.bundle", "2.1.3.5");
    const PublishResult result = demo.Publish();
    EXPECT_THAT(result.written, ElementsAre("lummac.ini"));
    EXPECT_FALSE(result.items[0].written || result.items[1].written);
    EXPECT_TRUE(result.items[2].written);
    const auto now = Stamps(demo.site());
    for (const char *component : {"libklv.dylib", "Meeting Hall.app"}) {
        EXPECT_EQ(now.at(demo.PackageOf(component)), stamps.at(demo.PackageOf(component)));
    }
    EXPECT_EQ(now.at("index.html"), stamps.at("index.html"));
    EXPECT_EQ(Problems(demo), "");
}

// Killed before any step, a publish leaves the old site or the new one, each whole, and the next one clears up after
// it.
TEST(Publisher, KilledAtAnyStepTheSiteIsWhole) {
    DemoSite demo;
    demo.Publish();
    const std::string oldInstructions = demo.Instructions();
    const std::string oldPage = ReadFile(demo.site() / "index.html");
    WriteBundle(demo.place(), "parts/confshell.bundle", "2.1.3.5");
    demo.place().Write("parts/libklv.dylib", "newer library\n");
    demo.manifest().components[0].version = "1,2,3,5";
    demo.manifest().pages[0].title = "Newer";
    EXPECT_EQ(ErrorOf(Publish(demo.manifest(), demo.place() / "new")), "");
    const std::string newInstructions = ReadFile(demo.place() / "new/lummac.ini");
    const std::string newPage = ReadFile(demo.place() / "new/index.html");
    fs::rename(demo.site(), demo.place() / "old");

    int kills = 0;
    bool killed = true;
    for (int step = 1; killed; ++step) {
        fs::remove_all(demo.site());
        fs::copy(demo.place() / "old", demo.site(), fs::copy_options::recursive);
        const pid_t child = fork();
        if (child == 0) {
            int left = step;
            PublishOptions options;
            options.pruneAfterHours = 0;
            options.checkpoint = [&](const std::string &) {
                if (--left == 0) {
                    kill(getpid(), SIGKILL);
                }
            };
            demo.Publish(options);
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        killed = WIFSIGNALED(status);
        kills += killed;
        const std::string instructions = demo.Instructions();
        const std::string page = ReadFile(demo.site() / "index.html");
        EXPECT_TRUE(instructions == oldInstructions || instructions == newInstructions) << step;
        EXPECT_TRUE(page == oldPage || (page == newPage && instructions == newInstructions)) << step;
        EXPECT_EQ(Problems(demo), "") << step;
    }
    EXPECT_GE(kills, 8); // three packages, retiring, instruction file, page, two removals, the end
    EXPECT_EQ(demo.Instructions(), newInstructions);

    demo.place().Write("site/packages/.new-999999999-abcdef", "left by a kill");
    demo.Publish();
    EXPECT_THAT(Temporaries(demo.site()), IsEmpty());
}

TEST(Publisher, AFailureLeavesTheSiteAsItWas) {
    DemoSite demo;
    demo.Publish();
    const auto before = Tree(demo.site());
    fs::remove_all(demo.place() / "parts/confshell.bundle");
    EXPECT_THAT(Refusal(demo), HasSubstr("there is no"));
    EXPECT_EQ(Tree(demo.site()), before);
    EXPECT_THAT(Temporaries(demo.site()), IsEmpty());
}

TEST(Publisher, OldPackagesStayUntilTheyArePruned) {
    DemoSite demo;
    demo.Publish();
    const std::string old = demo.PackageOf("confshell.bundle");
    const auto longAgo = fs::file_time_type::clock::now() - std::chrono::hours(1000);
    for (const auto &[name, content] : Tree(demo.site() / "packages")) {
        fs::last_write_time(demo.site() / "packages" / name, longAgo);
    }
    WriteBundle(demo.place(), "parts/confshell.bundle", "2.1.3.5");
    PublishOptions prune;
    prune.pruneAfterHours = kKeepHours;
    EXPECT_THAT(demo.Publish(prune).removed, IsEmpty()); // retired just now, however old it is
    EXPECT_THAT(demo.Publish(prune).removed, IsEmpty());
    EXPECT_TRUE(fs::exists(demo.site() / old));
    fs::last_write_time(demo.site() / old, fs::file_time_type::clock::now() - std::chrono::hours(kKeepHours + 1));
    EXPECT_THAT(demo.Publish().removed, IsEmpty()); // not asked to
    EXPECT_THAT(demo.Publish(prune).removed, ElementsAre(old));
    EXPECT_EQ(Problems(demo), "");
}

TEST(Publisher, RefusesWhatWouldNotInstall) {
    struct Case {
        const char *says;
        void (*change)(DemoSite &demo);
    };
    const Case cases[] = {
        {"says that it is version 2,1,3,4", [](DemoSite &demo) { demo.manifest().components[2].version = "9,0,0,0"; }},
        {"does not contain a version", [](DemoSite &demo) { demo.manifest().components[0].version.clear(); }},
        {"libklv.dylib starts no application; name one of confshell.bundle, ",
         [](DemoSite &demo) { demo.manifest().pages[0].component = "libklv.dylib"; }},
        {"starts Meeting Hall.app, which is not published beside it",
         [](DemoSite &demo) { demo.manifest().components[1].target = "elsewhere"; }},
        {"starts Kelvo Join.app, which",
         [](DemoSite &demo) { demo.manifest().pages[0].parameters["ParmSiteConfigExt_Value"] = "16384"; }},
        {"refused by the extension", [](DemoSite &demo) { demo.manifest().components[0].target = "%system%"; }},
        {"are inside the published folder",
         [](DemoSite &demo) {
             fs::create_directories(demo.site());
             fs::rename(demo.place() / "keys", demo.site() / "keys");
             demo.manifest().sections[0].keys = demo.site() / "keys";
         }},
        {"are inside the published folder",
         [](DemoSite &demo) {
             fs::create_directories(demo.site());
             fs::rename(demo.place() / "keys", demo.site() / "keys");
             fs::create_symlink("site/keys", demo.place() / "keys"); // seemingly elsewhere
         }},
        {"a library must be one",
         [](DemoSite &demo) {
             fs::remove(demo.place() / "parts/libklv.dylib");
             fs::create_directory(demo.place() / "parts/libklv.dylib");
         }},
        {"and is cut after 2047",
         [](DemoSite &demo) { demo.manifest().components[1].action = std::string(1600, 'a'); }},
        {"holds both \"[\" and \"]\"",
         [](DemoSite &demo) {
             demo.manifest().components[0].action = "a]";
             demo.manifest().components[0].target = "[b";
         }},
        {"named s_te.app-2.1.3.4.tar.gz too",
         [](DemoSite &demo) {
             demo.manifest().versionInNames = true;
             for (const char *name : {"s te.app", "s_te.app"}) {
                 WriteBundle(demo.place(), std::string("parts/") + name, "2.1.3.4");
                 ManifestComponent component;
                 component.path = demo.place() / (std::string("parts/") + name);
                 component.name = name;
                 demo.manifest().components.push_back(component);
             }
         }},
    };
    for (const Case &each : cases) {
        DemoSite demo;
        each.change(demo);
        EXPECT_THAT(Refusal(demo), HasSubstr(each.says));
        EXPECT_FALSE(fs::exists(demo.site() / "lummac.ini")) << each.says;
    }
}

TEST(Publisher, ComponentsWithoutAReadableVersionAreWarnedAbout) {
    DemoSite demo;
    demo.place().Write("parts/data.bundle/file", "x");
    ManifestComponent component;
    component.path = demo.place() / "parts/data.bundle";
    component.name = "data.bundle";
    component.version = "1,0,0,0";
    demo.manifest().components.push_back(component);
    EXPECT_THAT(TextOf(demo.Publish().findings), HasSubstr("downloaded on every visit"));
    demo.manifest().components.back().update = "existence";
    EXPECT_EQ(TextOf(demo.Publish().findings), "");
}

TEST(Publisher, AVersionInANameIsNeverGivenToOtherContent) {
    DemoSite demo;
    demo.manifest().versionInNames = true;
    demo.Publish();
    EXPECT_EQ(demo.PackageOf("confshell.bundle"), "packages/confshell.bundle-2.1.3.4.tar.gz");
    WriteBundle(demo.place(), "parts/confshell.bundle", "2.1.3.4", "#!/bin/bash\n");
    EXPECT_THAT(Refusal(demo), HasSubstr("raise the version"));
    EXPECT_EQ(Problems(demo), "");
}

TEST(Publisher, OtherContentNeedsAnotherVersion) {
    DemoSite demo;
    demo.Publish();
    WriteBundle(demo.place(), "parts/confshell.bundle", "2.1.3.4", "#!/bin/bash\n");
    EXPECT_THAT(Refusal(demo), HasSubstr("version 2,1,3,4 of confshell.bundle was published with other content"));
    PublishOptions same;
    same.sameVersion = true;
    demo.Publish(same);
    EXPECT_THAT(Problems(demo), HasSubstr("was published with other content under the same version"));
    demo.manifest().components[2].hash = "sha1"; // of the same content
    EXPECT_EQ(Refusal(demo), "");
    WriteBundle(demo.place(), "parts/confshell.bundle", "2.1.3.4");
    demo.manifest().components[2].update = "always";
    EXPECT_EQ(Refusal(demo), "");
}

TEST(Publisher, OnePublisherAtATime) {
    DemoSite demo;
    PublishOptions options;
    std::string second;
    options.checkpoint = [&](const std::string &step) {
        if (step == "retire") {
            second = Refusal(demo);
        }
    };
    demo.Publish(options);
    EXPECT_THAT(second, HasSubstr("another lumsite is publishing"));
}

// The roll-over of docs/publishing.md, with the visitors who are in the middle of it at every stage.
TEST(RollOver, ANewKeyGetsASectionOfItsOwn) {
    DemoSite demo;
    demo.Publish();
    const std::string oldPage = ReadFile(demo.site() / "index.html");
    const std::string oldInstructions = demo.Instructions();
    // A page checked against an instruction file, both from any stage.
    const auto visit = [&](const std::string &page, const std::string &instructions) {
        fs::remove_all(demo.place() / "visit");
        fs::copy(demo.site(), demo.place() / "visit", fs::copy_options::recursive);
        demo.place().Write("visit/index.html", page);
        demo.place().Write("visit/lummac.ini", instructions);
        return ReportOn(demo.place() / "visit").Passed();
    };

    // The wrong way: the old section signed by the new key fails visitors who hold the old page, so it is refused.
    const ManifestSection oldSection = demo.manifest().sections[0];
    const ManifestSection newSection = demo.AddKeys("Kelvo2");
    demo.manifest().sections[0].keys = newSection.keys;
    EXPECT_THAT(Refusal(demo), HasSubstr("was signed by another key"));
    EXPECT_EQ(demo.Instructions(), oldInstructions);
    PublishOptions force;
    force.replaceKeys = true;
    demo.Publish(force);
    EXPECT_FALSE(visit(oldPage, demo.Instructions()));
    demo.manifest().sections[0] = oldSection;
    demo.Publish(force);

    // Naming the new section at once fails visitors with a saved instruction file: it is warned about.
    demo.manifest().sections.push_back(newSection);
    demo.manifest().pages[0].section = "Kelvo2";
    const base::Findings early = demo.Publish().findings;
    EXPECT_THAT(TextOf(early), HasSubstr("publish the section first"));
    const std::string newPage = ReadFile(demo.site() / "index.html");
    EXPECT_FALSE(visit(newPage, oldInstructions));

    // First stage: both sections, the old page.
    demo.manifest().pages[0].section = "Kelvo";
    demo.Publish();
    const std::string both = demo.Instructions();
    EXPECT_EQ(ReadFile(demo.site() / "index.html"), oldPage);
    EXPECT_TRUE(visit(oldPage, both));
    EXPECT_TRUE(visit(oldPage, oldInstructions)); // saved before
    // Second stage: the new page. Whoever holds the old one, or a saved file of the first stage, is served.
    demo.manifest().pages[0].section = "Kelvo2";
    EXPECT_EQ(TextOf(demo.Publish().findings), "");
    EXPECT_EQ(ReadFile(demo.site() / "index.html"), newPage);
    EXPECT_TRUE(visit(newPage, both));
    EXPECT_TRUE(visit(oldPage, demo.Instructions()));
    // Third stage: the old section goes.
    demo.manifest().sections.erase(demo.manifest().sections.begin());
    demo.Publish();
    EXPECT_TRUE(visit(newPage, demo.Instructions()));
    EXPECT_TRUE(visit(newPage, both));
    EXPECT_FALSE(visit(oldPage, demo.Instructions()));
}

TEST(RollOver, ARenewedCertificateOfTheSameKeyServesOldAndNewPages) {
    DemoSite demo;
    demo.Publish();
    const std::string oldPage = ReadFile(demo.site() / "index.html");
    const std::string oldInstructions = demo.Instructions();
    EXPECT_EQ(ErrorOf(RenewCertificate(demo.place() / "keys", "", 700)), "");
    EXPECT_THAT(demo.Publish().written, ElementsAre("index.html"));
    EXPECT_EQ(demo.Instructions(), oldInstructions);
    EXPECT_EQ(Problems(demo), "");
    demo.place().Write("site/index.html", oldPage);
    EXPECT_EQ(Problems(demo), "");
}
