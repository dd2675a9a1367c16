// The controller's states, tick by tick.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#import "lum/lumext/LUMBridge.h"
#include "tests/support/LumFixture.h"
#include "tests/support/TraceRecorder.h"

namespace {

using Navigations = std::vector<FakeHost::Navigation>;

constexpr char kWaitParameter[] = "klvpagewaiting_value";

struct Fixture : LumFixture {
    Fixture() {
        host.EnableLog();
        host.parameters["LumComponentName"] = "confshell.bundle";
        GetTickCount();
    }
    // The application has been launched this many milliseconds ago.
    void Launched(unsigned int ago) {
        extension.m_bKelvoAppLaunched = 1;
        extension.m_dwKelvoAppLaunchTick = GetTickCount() - ago;
    }
    // Every item is at hand, the next tick finishes.
    void Installed() {
        Add("part.bundle" + kItemTail);
        manager.SuppressInstallation();
        extension.m_bInstallationMgrInited = 1;
    }
};

} // namespace

TEST(Controller, PageWaitsByItsParameter) {
    const struct {
        const char *waiting; // null: absent
        bool joined;
        unsigned int ago;
        bool looked;
    } cases[] = {
        {nullptr, false, 150, false},
        {nullptr, false, 400, true},
        {"true", false, 400, true},
        {"", false, 400, true},
        {LUM_PAGE_WAITS, false, 400, false},
        {LUM_PAGE_WAITS, false, 290000, false},
        {LUM_PAGE_WAITS, false, 300400, true},
        {LUM_PAGE_WAITS, true, 5, true},
        {nullptr, true, 100, false},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        if (test.waiting) {
            fixture.host.parameters[kWaitParameter] = test.waiting;
        }
        [fixture.extension.m_pBridge setLaunchFlag:test.joined];
        fixture.Launched(test.ago);
        TraceRecorder traces;
        fixture.extension.Heartbeat();
        EXPECT_EQ(!fixture.extension.m_bKelvoAppLaunched, test.looked) << (test.waiting ?: "-") << " " << test.ago;
        EXPECT_EQ(traces.Has("Meeting launched and join complete", 1), test.joined && test.ago == 5);
    }
}

TEST(Controller, ALaunchedApplicationSendsThePageOn) {
    const struct {
        NSString *jumpURL;
        const char *nextUrl;
        const char *frame;
        Navigations opened;
    } cases[] = {
        {nil, "http://next", nullptr, {{"_self", "http://next"}}},
        {nil, "http://next", "main", {{"main", "http://next"}}},
        {@"http://jump", "http://next", "main", {{"main", "http://next"}}},
        {@"http://jump", nullptr, "main", {}},
        {@"", "http://next", "main", {{"main", ""}}},
        {@"", nullptr, nullptr, {{"_self", ""}}},
        {nil, nullptr, nullptr, {}},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        if (test.nextUrl) {
            fixture.host.parameters["szNextUrl"] = test.nextUrl;
        }
        if (test.frame) {
            fixture.host.parameters["szFrameName"] = test.frame;
        }
        [fixture.extension.m_pBridge setLaunchFlag:YES];
        [fixture.extension.m_pBridge setJumpURL:test.jumpURL];
        fixture.Launched(1000);
        TraceRecorder traces;
        fixture.extension.Heartbeat();
        EXPECT_EQ(fixture.host.PageNavigations(), test.opened);
        EXPECT_TRUE(traces.Has("CPluginView::SetComponantAsFrontProcess"));
        EXPECT_EQ(fixture.extension.m_dwKelvoAppLaunchTick, 0u);
        fixture.extension.Heartbeat(); // once only
        EXPECT_EQ(fixture.host.PageNavigations().size(), test.opened.size());
    }
}

TEST(Controller, AnApplicationThatWentAwayIsMessage18) {
    Fixture fixture;
    fixture.host.parameters["szNextUrl"] = "http://next";
    fixture.Launched(1000);
    fixture.extension.Heartbeat();
    EXPECT_EQ(fixture.host.LogCodes(), std::vector<std::string>{"18"});
    EXPECT_NE(fixture.host.messages.at(0).find("Error [18], File [confshell.bundle]"), std::string::npos);
    EXPECT_TRUE(fixture.host.PageNavigations().empty());
    EXPECT_TRUE(fixture.extension.m_bStopped);
    fixture.extension.Heartbeat();
    EXPECT_EQ(fixture.host.messages.size(), 1u);
}

TEST(Controller, APlayerThatIsGoneOpensTheHomePageOnce) {
    for (const bool orb : {false, true}) {
        for (const char *home : {static_cast<const char *>(nullptr), "http://home"}) {
            Fixture fixture;
            if (home) {
                fixture.host.parameters["szHomePage"] = home;
            }
            fixture.host.parameters["szFrameName"] = "frame";
            if (orb) {
                fixture.extension.m_bOrbPlayerLaunched = 1;
                fixture.extension.m_dwOrbPlayerLaunchTick = GetTickCount() - 1000;
            } else {
                fixture.extension.m_bKelvoPlayerLaunched = 1;
                fixture.extension.m_dwKelvoPlayerLaunchTick = GetTickCount() - 1000;
            }
            fixture.extension.Heartbeat();
            fixture.extension.Heartbeat();
            const Navigations expected{{"_self", home ? home : "(null)"}};
            EXPECT_EQ(fixture.host.PageNavigations(), expected);
        }
    }
}

TEST(Controller, LaunchedFlagsCarryTheirTick) {
    Fixture fixture;
    fixture.extension.SetKelvoPlayerLaunched(true);
    fixture.extension.SetOrbPlayerLaunched(true);
    fixture.extension.SetOrbPlayerLaunched(false);
    EXPECT_EQ(fixture.extension.m_dwOrbPlayerLaunchTick, 0u);
    EXPECT_TRUE(fixture.extension.m_bKelvoPlayerLaunched);
}

TEST(Controller, DownloadOnlyGoesToTheNextUrl) {
    const struct {
        const char *nextUrl;
        bool changed;
        Navigations opened;
    } cases[] = {
        {"http://n", false, {{"_self", "http://n?ExtensionChanged=0"}}},
        {"http://n?", false, {{"_self", "http://n?&ExtensionChanged=0"}}},
        {"http://n?a=b", true, {{"_self", "http://n?a=b&ExtensionChanged=1"}}},
        {nullptr, true, {}},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.parameters["LumComponentName"] = "part.bundle";
        fixture.host.parameters["LumDownloadOnly"] = "true";
        fixture.host.parameters["szFrameName"] = "frame";
        if (test.nextUrl) {
            fixture.host.parameters["szNextUrl"] = test.nextUrl;
        }
        fixture.extension.m_bExtensionChanged = test.changed;
        fixture.Installed();
        fixture.extension.Heartbeat();
        fixture.extension.Heartbeat();
        EXPECT_EQ(fixture.host.PageNavigations(), test.opened);
        EXPECT_TRUE(fixture.host.messages.empty());
        EXPECT_EQ(fixture.host.windowQueries, 0) << "nothing is launched";
    }
}

TEST(Controller, NothingAdvancesWhileAnItemIsOpenOrAfterStop) {
    Fixture fixture;
    fixture.host.parameters["LumComponentName"] = "part.bundle";
    fixture.host.parameters["LumDownloadOnly"] = "TRUE";
    fixture.host.parameters["szNextUrl"] = "http://n";
    fixture.Installed();
    fixture.Add("later.bundle" + kItemTail);
    fixture.extension.Heartbeat();
    EXPECT_TRUE(fixture.extension.m_bMainComponentReady);
    EXPECT_FALSE(fixture.extension.m_bDownloadDoneNotified);
    fixture.manager.SuppressInstallation();
    fixture.extension.Stop();
    fixture.extension.Heartbeat();
    EXPECT_TRUE(fixture.host.PageNavigations().empty());
}

TEST(Controller, InitComponentReportsTheDownloadButNotForPlayers) {
    const struct {
        const char *component;
        unsigned int total;
        std::vector<std::string> codes;
    } cases[] = {
        {"part.bundle", 0, {"990"}},
        {"part.bundle", 5, {"990", "1106"}},
        {"REPLAYVIEW.BUNDLE", 5, {"990"}},
        {"Replayview.bundle", 5, {"990", "1106"}},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.parameters["LumComponentName"] = test.component;
        auto *item = new CItem(&fixture.extension);
        item->m_strName = test.component;
        item->m_strTarget = "%system%"; // no folder, so that the application cannot be found and launched
        fixture.manager.AddItem(item);
        fixture.extension.m_dwDownloadTotalSize = test.total;
        fixture.extension.m_dwDownloadStartTick = GetTickCount() - 50;
        fixture.manager.m_strDefInstallDir = "/nowhere";
        fixture.extension.InitComponent();
        std::vector<std::string> codes = fixture.host.LogCodes();
        codes.resize(std::min(codes.size(), test.codes.size()));
        EXPECT_EQ(codes, test.codes) << test.component;
        EXPECT_EQ(fixture.host.windowQueries, 1);
    }
}

TEST(Controller, AMissingMainItemIsMessage17) {
    Fixture fixture;
    fixture.extension.InitComponent();
    EXPECT_NE(fixture.host.messages.at(0).find("Error [17], File [confshell.bundle]"), std::string::npos);
    EXPECT_TRUE(fixture.extension.m_bStopped);
    EXPECT_EQ(fixture.host.windowQueries, 0);
}

TEST(Controller, InstallFolderFollowsComponentAndVersion) {
    const std::string support = std::string(std::getenv("HOME")) + "/GNUstep/Library/ApplicationSupport/Kelvo Folder";
    const struct {
        const char *component;
        const char *version;
        std::string folder;
    } cases[] = {{"confshell.bundle", "2.4", support + "/2.4"},
                 {"confshell.bundle", nullptr, support},
                 {"rmtagMGR.dll", "2.4", support + "/RemoteDesk"},
                 {nullptr, "3", support + "/3"}};
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.parameters.erase("LumComponentName");
        if (test.component) {
            fixture.host.parameters["LumComponentName"] = test.component;
        }
        if (test.version) {
            fixture.host.parameters["LumProductVersion"] = test.version;
        }
        std::string folder;
        fixture.extension.GetDefInstallDir(folder);
        EXPECT_EQ(folder, test.folder);
        EXPECT_TRUE(std::filesystem::is_directory(folder));
    }
}

TEST(Controller, TitleAndSuppression) {
    Fixture fixture;
    EXPECT_EQ(fixture.extension.GetTitle(), "Kelvo");
    fixture.host.parameters["LumMessageTitle"] = "Mine";
    EXPECT_EQ(fixture.extension.GetTitle(), "Mine");
    for (const auto &[value, set] : {std::pair{"tRue", 1}, {"yes", 0}, {"1", 0}}) {
        Fixture other;
        other.host.parameters["LumSuppressInstallation"] = value;
        other.extension.InitInstance(&other.host.table);
        EXPECT_EQ(other.extension.m_bSuppressInstallation, set);
        EXPECT_EQ(other.host.LogCodes().front(), "1001");
    }
    Fixture alone;
    alone.extension.SuppressInstallationMgr();
    EXPECT_TRUE(alone.extension.m_bInstallationMgrInited);
    EXPECT_EQ(alone.extension.m_installationMgr.FindItem("confshell.bundle")->m_dwState, 3u);
}
