// Which items are fetched: words, versions, libraries, and the queries over the list.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/LumFixture.h"
#include "tests/support/TraceRecorder.h"

namespace {

struct Fixture : LumFixture {
    Fixture() {
        manager.m_strDefInstallDir = dir.path();
        manager.m_strUrlRoot = "http://site.example";
    }
    CItem &Add(const std::string &name, const std::string &version, const std::string &update = "version") {
        return LumFixture::Add(name + ";" + name + ".tgz;;" + version + ";1;100;;" + update + ";;0");
    }
    // A bundle of this version, as an earlier start has installed it.
    void InstallBundle(const std::string &name, const std::string &version) {
        const std::string base = name.substr(0, name.find('.'));
        dir.Write(name + "/Contents/MacOS/" + base, "x");
        dir.WriteBundle(name, version);
    }
    void InstallLibrary(const std::string &stem, const std::string &version) {
        dir.Write(stem + "-" + version + ".dylib", "x");
        std::filesystem::create_symlink(dir / (stem + "-" + version + ".dylib"), dir / (stem + ".dylib"));
    }
};

} // namespace

TEST(Update, WordsDecideOverAnInstalledFile) {
    const struct {
        const char *word;
        const char *installed; // null: not there
        bool fetched;
    } cases[] = {
        {"version", "1.2.3.4", false}, {"VERSION", "1.2.3.4", false}, {"version", "1.2.3.3", true},
        {"version", "1.2.3.5", true},  {"version", "1.2.3", true},    {"version", nullptr, true},
        {"size", "0.0.0.0", false},    {"Size", nullptr, true},       {"existence", "0.0.0.0", false},
        {"existence", nullptr, true},  {"", "1.2.3.4", true},         {"versions", "1.2.3.4", true},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        if (test.installed) {
            fixture.InstallBundle("part.bundle", test.installed);
        }
        CItem &item = fixture.Add("part.bundle", "1,2,3,4", test.word);
        EXPECT_TRUE(fixture.manager.PrepareInstallation(false));
        EXPECT_EQ(fixture.manager.mNeedUpdate, test.fetched ? 1u : 0u) << test.word;
        EXPECT_EQ(item.m_dwState, test.fetched ? 1u : 2u) << test.word;
        EXPECT_EQ(fixture.host.requests.size(), test.fetched ? 1u : 0u) << test.word;
    }
}

TEST(Update, BackwardCompatibilityRanksTheBuildFirst) {
    const struct {
        const char *installed;
        const char *offered;
        bool fetched;
    } cases[] = {
        {"1.0.5.0", "2,0,4,0", false},
        {"1.0.4.0", "0,0,5,0", true},
        {"1.0.4.1", "9,9,4,0", false},
        {"1.0.4.0", "1,0,4,0", false},
        {"1.0.4.0", "1,0,04,0", true}, // equal numbers under another text
        {"2.0.4.0", "1,0,4,0", false},
        {"1.0.4", "1,0,3,0", true},
        {"1.0.4.0", "1,0,5x,0", true},
        {"1.0.4.0", "1,0,-5,0", false},         // read up to the first character that is not a digit
        {"1.0.4294967296.0", "1,0,5,0", false}, // more than a part can hold is still more
        {"1.0.99999999999999999999.0", "1,0,5,0", false},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.parameters["LumComponentName"] = "orbpfw.bundle";
        fixture.InstallBundle("part.bundle", test.installed);
        fixture.Add("part.bundle", test.offered);
        fixture.manager.PrepareInstallation(true);
        EXPECT_EQ(fixture.manager.mNeedUpdate, test.fetched ? 1u : 0u) << test.installed << " " << test.offered;
        EXPECT_TRUE(fixture.host.requests.empty());
    }
}

TEST(Update, Libraries) {
    const struct {
        const char *component;
        const char *installed; // version in the file name, empty: none
        const char *offered;
        bool fetched;
    } cases[] = {
        {"confshell.bundle", "1.0.0.4", "1,0,0,4", false}, {"confshell.bundle", "1.0.0.5", "1,0,0,4", true},
        {"confshell.bundle", "", "1,0,0,4", true},         {"orbpfw.bundle", "1.0.0.5", "1,0,0,4", false},
        {"orbpfw.bundle", "1.0.0.3", "1,0,0,4", true},     {"orbpfw.bundle", "2.0.0.0", "1,9,9,9", false},
        {"orbpfw.bundle", "1.0.5", "1,0,0,4", true},       {"orbpfw.bundle", "", "1,0,0,4", true},
        {"x/ORBPFW.bundle", "1.0.0.5", "1,0,0,4", true},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.parameters["LumComponentName"] = test.component;
        if (*test.installed) {
            fixture.InstallLibrary("libfoo", test.installed);
        }
        fixture.Add("libfoo.dylib", test.offered);
        fixture.manager.PrepareInstallation(false);
        EXPECT_EQ(fixture.manager.mNeedUpdate, test.fetched ? 1u : 0u)
            << test.component << " " << test.installed << " " << test.offered;
    }
}

TEST(Update, LibraryWithoutItsLinkIsFetchedAgain) {
    Fixture fixture;
    fixture.InstallLibrary("libfoo", "1.0.0.4");
    std::filesystem::remove(fixture.dir / "libfoo.dylib"); // where a start was killed between two steps
    fixture.Add("libfoo.dylib", "1,0,0,4");
    fixture.manager.PrepareInstallation(false);
    EXPECT_EQ(fixture.manager.mNeedUpdate, 1u);
}

TEST(Update, LibraryWithoutAFolderIsLookedForInTheRoot) {
    Fixture fixture;
    fixture.LumFixture::Add("libnowhere.dylib;u;%system%;1,0,0,4;1;1;;version;;0");
    TraceRecorder traces;
    fixture.manager.PrepareInstallation(true);
    EXPECT_TRUE(traces.Has("LumInstallationMgr::PrepareInstallation,real file is /libnowhere-1.0.0.4.dylib", 1));
}

TEST(Update, WalkRequestsInOrder) {
    Fixture fixture;
    fixture.InstallBundle("b.bundle", "1.0.0.0");
    fixture.Add("a.bundle", "1,0,0,0");
    fixture.Add("b.bundle", "1,0,0,0");
    fixture.Add("c.bundle", "1,0,0,0");
    fixture.manager.PrepareInstallation(false);
    ASSERT_EQ(fixture.host.requests.size(), 2u);
    EXPECT_EQ(fixture.host.requests[0].url.find("http://site.example/a.bundle.tgz?random="), 0u);
    EXPECT_EQ(fixture.host.requests[1].url.find("http://site.example/c.bundle.tgz?random="), 0u);
    EXPECT_EQ(fixture.host.requests[0].context, fixture.manager.m_aItems[0]);
    EXPECT_EQ(fixture.manager.m_dwTotalSize, 200u);
}

// A host that reports a failed download from within the request.
TEST(Update, NothingMoreIsAskedForAfterAFailure) {
    Fixture fixture;
    fixture.host.table.pfnGetFile = [](void *cookie, LUMGetFileCallback callback, void *context, const char *url) {
        static_cast<FakeHost *>(cookie)->requests.push_back({callback, context, url});
        callback(nullptr, context, LUMGetFileNotifyDone, nullptr);
    };
    fixture.Add("a.bundle", "1,0,0,0");
    fixture.Add("b.bundle", "1,0,0,0");
    fixture.manager.PrepareInstallation(false);
    EXPECT_EQ(fixture.host.requests.size(), 1u);
    EXPECT_EQ(fixture.host.messages.size(), 1u);
}

TEST(Update, MainComponentIsReadyWhenNothingBeforeItIsOpen) {
    const struct {
        std::vector<unsigned int> states;
        bool start;
        bool done;
        bool ready; // of the second item, "b"
    } cases[] = {
        {{}, false, true, false},        {{2, 2, 2}, true, true, true},    {{2, 2, 1}, true, false, true},
        {{2, 1, 2}, true, false, false}, {{1, 2, 2}, true, false, false},  {{4, 2, 2}, true, false, false},
        {{0, 3, 4}, true, false, true},  {{4, 4, 4}, false, false, false}, {{2}, true, true, false},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        const char *names[] = {"a", "b", "c"};
        for (std::size_t i = 0; i < test.states.size(); ++i) {
            fixture.Add(names[i], "1").m_dwState = test.states[i];
        }
        EXPECT_EQ(fixture.manager.IsStart(), test.start);
        EXPECT_EQ(fixture.manager.IsDone(), test.done);
        EXPECT_EQ(fixture.manager.IsMainComponentReadyToInstall("B"), test.ready);
        EXPECT_FALSE(fixture.manager.IsMainComponentReadyToInstall("nobody"));
        EXPECT_FALSE(fixture.manager.IsMainComponentReadyToInstall(nullptr));
        fixture.manager.SuppressInstallation();
        EXPECT_TRUE(fixture.manager.IsDone());
    }
    Fixture fixture;
    fixture.Add("a", "1");
    TraceRecorder traces;
    fixture.manager.IsDone();
    EXPECT_TRUE(traces.Has("item=a is still installing.", 1));
}

TEST(Update, InstallFolders) {
    const std::filesystem::path home = std::getenv("HOME");
    const std::string support = home / "GNUstep/Library/ApplicationSupport/Kelvo Folder/";
    const struct {
        const char *target;
        std::string path;
    } cases[] = {
        {"", "/default/name"},
        {"a/b", "a/b/name"},
        {"/", "/name"},
        {"/x/", "/x/name"},
        {"%system%", "name"},
        {"%EXTENSION%", "name"},
        {"%systems%", support + "name"},
        {"plugin", support + "name"},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.manager.m_strDefInstallDir = "/default";
        CItem item(&fixture.extension);
        item.m_strName = "name";
        item.m_strTarget = test.target;
        TraceRecorder traces;
        std::string path;
        fixture.manager.GetItemInstallPath(&item, path);
        EXPECT_EQ(path, test.path) << test.target;
        EXPECT_EQ(traces.Texts(3).size(), path == "name" ? 1u : 0u) << test.target;
    }
}
