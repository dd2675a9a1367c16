// What the extension tells the placeholder window, from the page's parameters.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#import "base/objc/ScopedPool.h"
#include "lum/common/lumutil.h"
#include "lum/platform/ObjcEach.h"
#include "tests/support/LumFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Desktop.h"
#include "tests/support/TraceRecorder.h"

#import <AppKit/AppKit.h>

namespace {

struct Fixture : LumFixture {
    LumFuzzyWindowDelegate delegate;

    Fixture() {
        Init();
    }
    void Init() {
        delegate.initWithParam({&host.table, &host, &extension, &extension.m_pluginView});
    }
};

// Where the extension's bundle lies: a bundle of that identifier, with two texts of its own.
const TempDir &FolderOfBundle() {
    static const TempDir folder;
    static NSBundle *const bundle = [] {
        folder.Write("lumext.bundle/Resources/Info-gnustep.plist",
                     "{ CFBundleIdentifier = \"" LUM_BUNDLE_IDENTIFIER "\"; }");
        folder.Write("lumext.bundle/Resources/Localizable_German.strings",
                     "\"Connecting...\" = \"Wird verbunden\";\n\"Host: \" = \"\";\n");
        return [NSBundle bundleWithPath:[NSString stringWithUTF8String:(folder / "lumext.bundle").c_str()]];
    }();
    EXPECT_NE(bundle, nil);
    return folder;
}

std::string AssertionLine(int line) {
    return "ASSERT nil != m_pLUMInterface failed at file lum/lumext/LumFuzzyWindowDelegate, line " +
           std::to_string(line) + "\r\n";
}

} // namespace

TEST(FuzzyDelegate, IsUsedForAFastJoinOfAnApplicationThatDoesNotRun) {
    const TempDir place;
    const std::string player = place / "Kelvo Player";
    std::filesystem::copy_file("/bin/sleep", player);
    const ChildProcess running(player, {"60"});
    ASSERT_TRUE(WaitUntil([] { return GetPIDForProcessName("Kelvo Player") != kNoProcessId; }));
    const struct {
        const char *flag; // null: absent
        const char *component;
        bool used;
    } cases[] = {
        {"1", "klvmgrch.bundle", true},     {"1", nullptr, true},
        {"1", "nothing.known", true},       {"1", "replayview.bundle", false},
        {"1", "RePlayView.BUNDLE", false},  {"11", "klvmgrch.bundle", false},
        {"true", "klvmgrch.bundle", false}, {" 1", "klvmgrch.bundle", false},
        {"", "klvmgrch.bundle", false},     {nullptr, "klvmgrch.bundle", false},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        if (test.flag) {
            fixture.host.parameters["lumloadingmeetingfastflag"] = test.flag;
        }
        if (test.component) {
            fixture.host.parameters["LumComponentName"] = test.component;
        }
        fixture.Init();
        EXPECT_EQ(fixture.delegate.isUsingFuzzyWindow(), test.used)
            << (test.flag ?: "-") << " " << (test.component ?: "-");
    }
    for (int missing = 0; missing < 3; ++missing) {
        Fixture fixture;
        fixture.host.parameters["lumloadingmeetingfastflag"] = "1";
        fixture.Init();
        ASSERT_TRUE(fixture.delegate.isUsingFuzzyWindow());
        fixture.delegate.initWithParam({missing == 0 ? nullptr : &fixture.host.table,
                                        missing == 1 ? nullptr : &fixture.host, &fixture.extension,
                                        missing == 2 ? nullptr : &fixture.extension.m_pluginView});
        EXPECT_FALSE(fixture.delegate.isUsingFuzzyWindow()) << missing;
    }
}

TEST(FuzzyDelegate, DecodesWhatThePageGivesInBase64) {
    const struct {
        const char *parameter; // null: absent
        const char *text;      // null: the default
    } cases[] = {
        {nullptr, nullptr},
        {"V2Vla2x5", "Weekly"},
        {"6YCx5qyh5Lya6K2w", "週次会議"},
        {"QQBC", "A"}, // holds a NUL
        {"", ""},
        {"!!!", ""},
        {"\xFF\xFE", ""},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        if (test.parameter) {
            for (const char *name : {"LumConfName", "LumHostName", "LumWindowTitle"}) {
                fixture.host.parameters[name] = test.parameter;
            }
        }
        const auto expected = [&](const char *absent) { return std::string(test.text ? test.text : absent); };
        LumFuzzyWindowDelegate &delegate = fixture.delegate;
        EXPECT_EQ(delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_MEETING_TOPIC), expected("Meeting Topic"));
        EXPECT_EQ(delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_HOST_NAME), expected("Host Name"));
        EXPECT_EQ(delegate.getLumWindowTitle(), expected(""));
    }
}

TEST(FuzzyDelegate, NamesTheVersionOfTheApplication) {
    constexpr char kWarning[] = "LumFuzzyWindowDelegate::getFakeClientAppVersion,ClientBuildVersion is not base64!";
    const struct {
        const char *product; // null: absent
        const char *build;   // null: absent
        const char *version;
        bool warned;
    } cases[] = {
        {"2.4", "MzEuNS4w", "2.4_31_5_0", false},
        {nullptr, "MzEuNS4w", "_31_5_0", false},
        {"2.4", "MTIzNA==", "2.4_1234", false},
        {"2.4", nullptr, "", false},
        {"2.4", "31.5.0", "", true},
        {"2.4", "", "", true},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        if (test.product) {
            fixture.host.parameters["LumProductVersion"] = test.product;
        }
        if (test.build) {
            fixture.host.parameters["ClientBuildVersion"] = test.build;
        }
        const TraceRecorder traces;
        EXPECT_EQ(fixture.delegate.getFakeClientAppVersion(), test.version) << (test.build ?: "-");
        EXPECT_EQ(traces.Has(kWarning, 2), test.warned) << (test.build ?: "-");
        EXPECT_EQ(traces.Has(
                      std::string("LumFuzzyWindowDelegate::getFakeClientAppVersion,strFakeVersion=") + test.version, 1),
                  *test.version != '\0');
    }
}

TEST(FuzzyDelegate, FindsTheApplicationBesideTheBundle) {
    const std::string folder = FolderOfBundle() / "2.4/";
    const struct {
        const char *siteConfig; // null: absent
        const char *application;
    } cases[] = {
        {nullptr, "Meeting Hall"}, {"16384", "Kelvo Join"},  {"16383", "Meeting Hall"},  {"49152", "Kelvo Join"},
        {"32768", "Meeting Hall"}, {"16384x", "Kelvo Join"}, {"0x4000", "Meeting Hall"}, {"", "Meeting Hall"},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.parameters["LumProductVersion"] = "2.4";
        if (test.siteConfig) {
            fixture.host.parameters["ParmSiteConfigExt_Value"] = test.siteConfig;
        }
        EXPECT_EQ(fixture.delegate.getAppPListPath(), folder + test.application + ".app/Contents/Info.plist")
            << (test.siteConfig ?: "-");
        EXPECT_EQ(fixture.delegate.getAppLastPositionFile(), folder + "kelvopos.plist");
    }
}

TEST(FuzzyDelegate, SupportsSSLByOneExactly) {
    const struct {
        const char *flag; // null: absent
        bool supported;
    } cases[] = {{nullptr, false}, {"1", true}, {"0", false}, {"yes", false}, {"11", false}, {"", false}};
    for (const auto &test : cases) {
        Fixture fixture;
        if (test.flag) {
            fixture.host.parameters["LumSupportSSLFlag"] = test.flag;
        }
        EXPECT_EQ(fixture.delegate.isLumSupportSSL(), test.supported) << (test.flag ?: "-");
    }
}

TEST(FuzzyDelegate, SpeaksThePagesLanguage) {
    FolderOfBundle();
    Fixture fixture;
    LumFuzzyWindowDelegate &delegate = fixture.delegate;
    EXPECT_EQ(delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_HOST_LABEL), "Host: ");
    EXPECT_EQ(delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_PREPARING), "Preparing your meeting...");
    EXPECT_EQ(delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_CONNECTING), "Connecting...");
    EXPECT_EQ(delegate.getLocailizedStringValueByKey(static_cast<FUZZY_WINDOW_STRING_KEY>(7)), "");
    EXPECT_EQ(delegate.getLocailizedStringValueByKey(static_cast<FUZZY_WINDOW_STRING_KEY>(-1)), "");
    EXPECT_EQ(delegate.getLocalizedString("No table has this."), "No table has this.");
    EXPECT_EQ(delegate.getLocalizedString("\xFF"), "\xFF");
    fixture.host.parameters["lumlocalsetting"] = "9";
    EXPECT_EQ(delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_CONNECTING), "Wird verbunden");
    EXPECT_EQ(delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_HOST_LABEL), "Host: "); // empty: as if absent
}

TEST(FuzzyDelegate, WithoutAServiceTableSaysSoAndGoesOn) {
    Fixture fixture;
    LumFuzzyWindowDelegate delegate;
    const struct {
        int line;
        std::function<std::string()> ask;
        const char *answer;
    } cases[] = {
        {300, [&] { return delegate.getMeetingTopic(); }, "Meeting Topic"},
        {323, [&] { return delegate.getHostDisplayName(); }, "Host Name"},
        {224, [&] { return delegate.getLumWindowTitle(); }, ""},
        {247, [&] { return std::string(delegate.isLumSupportSSL() ? "yes" : "no"); }, "no"},
        {363, [&] { return delegate.getFastJoinFlag(); }, ""},
        {368, [&] { return delegate.getComponentName(); }, ""},
        {373, [&] { return delegate.getProductVersion(); }, ""},
    };
    for (const auto &test : cases) {
        const TraceRecorder traces;
        EXPECT_EQ(test.ask(), test.answer) << test.line;
        EXPECT_EQ(traces.Texts(3), std::vector<std::string>{AssertionLine(test.line)});
    }
    EXPECT_EQ(delegate.getFakeClientAppVersion(), "");
    EXPECT_EQ(delegate.getDefInstallPath(), "");
    delegate.stopLum();
    EXPECT_EQ(fixture.host.stops, 0);
}

TEST(FuzzyDelegate, StopEndsTheHostsActivityAndTheController) {
    Fixture fixture;
    fixture.host.EnableLog();
    fixture.delegate.stopLum();
    EXPECT_EQ(fixture.host.stops, 1);
    EXPECT_EQ(fixture.host.LogCodes(), std::vector<std::string>{"901"});
    EXPECT_EQ(fixture.extension.m_bStopped, 1);

    fixture.host.table.pfnStop = nullptr;
    fixture.delegate.stopLum();
    EXPECT_EQ(fixture.host.stops, 1);
    fixture.delegate.initWithParam({&fixture.host.table, &fixture.host, nullptr, nullptr});
    fixture.delegate.stopLum();
    EXPECT_EQ(fixture.host.LogCodes().size(), 2u);
}

TEST(FuzzyDelegate, HandsOnTracesAndHashes) {
    const TempDir place;
    Fixture fixture;
    const TraceRecorder traces;
    fixture.delegate.traceInfo("100% of it");
    fixture.delegate.traceWarning("%s%n");
    fixture.delegate.traceError("%d");
    EXPECT_TRUE(traces.Has("100% of it", 1));
    EXPECT_TRUE(traces.Has("%s%n", 2));
    EXPECT_TRUE(traces.Has("%d", 3));
    EXPECT_EQ(fixture.delegate.sha256(place.Write("abc", "abc").c_str()),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(fixture.delegate.sha256((place / "absent").c_str()), "");
    EXPECT_EQ(fixture.delegate.sha256(nullptr), "");
    std::string folder;
    fixture.extension.GetDefInstallDir(folder);
    EXPECT_EQ(fixture.delegate.getDefInstallPath(), folder);
}

TEST(FuzzyWrapper, TracesWhatItForwards) {
    unsetenv("DISPLAY");
    Fixture fixture;
    const TempDir place;
    const std::string ini = place.Write("arrived.ini", "[Kelvo]\nCount=0\n");
    TraceRecorder traces;
    {
        LumFuzzyWindowMgrWrapper wrapper;
        EXPECT_EQ(static_cast<void *>(&wrapper), static_cast<void *>(&wrapper.m_lumFuzzyWindowDelegate));
        wrapper.start();
        wrapper.saveLumIniFile(nullptr);
        EXPECT_FALSE(wrapper.isNeedUpdateLumIni());
        EXPECT_FALSE(wrapper.isReady());
        EXPECT_EQ(wrapper.getSavedLumIniPath(), "");

        wrapper.initWithParam({&fixture.host.table, &fixture.host, &fixture.extension, nullptr});
        EXPECT_NE(wrapper.m_pLumFuzzyWindowMgr, nullptr);
        EXPECT_FALSE(wrapper.isUsingFuzzyWindow());
        EXPECT_TRUE(wrapper.isNeedUpdateLumIni());
        traces.Clear();
        wrapper.saveLumIniFile(ini.c_str());
        EXPECT_EQ(ReadFile(wrapper.getSavedLumIniPath()), "[Kelvo]\nCount=0\n");
        wrapper.noticeDownloadSuccess();
        EXPECT_TRUE(wrapper.isReady());
        wrapper.stop();
    }
    EXPECT_EQ(traces.Texts(1), (std::vector<std::string>{
                                   "LumFuzzyWindowMgrWrapper::saveLumIniFile file=" + ini,
                                   "LumFuzzyWindowMgrWrapper::noticeDownloadSuccess",
                                   "LumFuzzyWindowMgrWrapper::stop",
                                   "LumFuzzyWindowMgrWrapper::~LumFuzzyWindowMgrWrapper",
                               }));
}

TEST(FuzzyWrapper, ASavedFileSparesTheDownloadWhileTheApplicationIsCurrent) {
    unsetenv("DISPLAY");
    Fixture fixture;
    fixture.host.parameters["LumProductVersion"] = "2.4";
    fixture.host.parameters["ClientBuildVersion"] = "MzEuNS4w";
    const TempDir place;
    const std::string ini = place.Write("arrived.ini", "[Kelvo]\nCount=0\n");
    const auto install = [](const std::string &version) {
        FolderOfBundle().WriteBundle("2.4/Meeting Hall.app", version);
    };
    LumFuzzyWindowMgrWrapper wrapper;
    wrapper.initWithParam({&fixture.host.table, &fixture.host, &fixture.extension, nullptr});
    wrapper.saveLumIniFile(ini.c_str());
    EXPECT_TRUE(wrapper.isNeedUpdateLumIni());
    install("31.5.0");
    EXPECT_FALSE(wrapper.isNeedUpdateLumIni());
    install("31.4.9");
    EXPECT_TRUE(wrapper.isNeedUpdateLumIni());
}

// A container that ends the instance as soon as it is told to stop: the framework is on the stack then, with the
// extension's own call of it below or without.
TEST(FuzzyDelegate, TheInstanceMayEndWhileTheFrameworkStopsIt) {
    struct EndingHost : FakeHost {
        void *component = nullptr;
    };
    const Desktop &desktop = Desktop::Get();
    for (const bool withinACall : {true, false}) {
        EndingHost host;
        host.parameters = {{"lumloadingmeetingfastflag", "1"},
                           {"LumComponentName", "klvmgrch.bundle"},
                           {"LumUrlRoot", "http://site.example"},
                           {"LumWindowTitle", "S2VsdmU="}};
        host.table.pfnStop = [](void *cookie) {
            LumExitInstance(cookie, std::exchange(static_cast<EndingHost *>(cookie)->component, nullptr));
        };
        TraceRecorder traces;
        ASSERT_EQ(LumInitInstance(&host, &host.table, &host.component), 0U);
        ASSERT_TRUE(desktop.WaitForWindow("Kelve"));
        auto &extension = *static_cast<CLumExtension *>(host.component);
        if (withinACall) {
            EXPECT_TRUE(WaitUntil([&] {
                desktop.Press("Escape"); // again, if the window had no keyboard yet
                extension.m_fuzzyWindowMgr.updateDownloadedSize(1);
                return host.component == nullptr;
            }));
        } else {
            const base::ScopedPool pool;
            for (NSWindow *window : Each<NSWindow *>([NSApp windows])) {
                if ([window isVisible]) {
                    [window performClose:nil];
                }
            }
        }
        EXPECT_TRUE(traces.HasPart("CLumExtension::~CLumExtension()"));
    }
}
