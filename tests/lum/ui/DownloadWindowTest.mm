// The progress window on a real screen: what it says, what it holds, and what stops the download.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#import <AppKit/AppKit.h>

#include "lum/platform/ObjcEach.h"
#include "base/objc/ScopedPool.h"
#import "lum/ui/CDownloadWindow.h"
#include "tests/support/Gmock.h"
#include "tests/support/LumFixture.h"
#include "tests/support/TraceRecorder.h"
#include "tests/lum/ui/Windows.h"

// What the controls hold is asked of the controls themselves.
@interface CDownloadWindow (Test)
- (NSProgressIndicator *)bar;
- (NSTextField *)line;
- (NSButton *)stopButton;
@end

@implementation CDownloadWindow (Test)
- (NSProgressIndicator *)bar {
    [self window];
    return myProgressBar;
}
- (NSTextField *)line {
    [self window];
    return myStaticText;
}
- (NSButton *)stopButton {
    [self window];
    return myStopButton;
}
@end

namespace {

using ::testing::ElementsAre;

constexpr char kTitle[] = "Kelvo Meetings";

std::string LineOf(CDownloadWindow *controller) {
    return [[[controller line] stringValue] UTF8String];
}
std::string StopOf(CDownloadWindow *controller) {
    return [[[controller stopButton] title] UTF8String];
}

// A controller without a manager.
CDownloadWindow *NewWindow(const char *languageId) {
    CDownloadWindow *controller = [[CDownloadWindow alloc] initWithInstallMgr:nullptr];
    [controller setLanguageID:languageId];
    return controller;
}

// The manager's own window, in front of the person.
class ShownWindow : public ::testing::Test, protected LumFixture {
protected:
    ShownWindow() {
        host.EnableLog();
        host.parameters["LumProgressBarTitle"] = kTitle;
        manager.InitialDownloadWindow();
    }
    CDownloadWindow *controller() {
        return manager.m_pDownloadWindow;
    }
    bool Appears() {
        return Eventually(
            [&] { return IsShown() && Desktop::Get().HasKeyboard(kTitle) && [[controller() window] isKeyWindow]; });
    }
    bool IsShown() {
        return desktop.WindowTitled(kTitle).has_value();
    }
    void ClickStop() {
        const auto window = *desktop.WindowTitled(kTitle);
        const NSRect button = [[controller() stopButton] frame];
        Desktop::Get().Click(window.x + static_cast<int>(NSMidX(button)),
                             window.y + window.height - static_cast<int>(NSMidY(button)));
    }

    Desktop &desktop = StartWindows();
};

struct Way {
    std::string name;
    const char *keys; // null: a click on Stop
};

void PrintTo(const Way &way, std::ostream *out) {
    *out << way.name;
}

class StoppedWindow : public ShownWindow, public ::testing::WithParamInterface<Way> {};

void ExpectTextsToFit(CDownloadWindow *controller, const std::string &language) {
    const NSRect inside = [[[controller window] contentView] bounds];
    for (NSView *view : Each<NSView *>([[[controller window] contentView] subviews])) {
        EXPECT_TRUE(NSContainsRect(inside, [view frame])) << language << " " << [[view description] UTF8String];
    }
    for (NSControl *control :
         {static_cast<NSControl *>([controller line]), static_cast<NSControl *>([controller stopButton])}) {
        const NSSize needed = [[control cell] cellSize];
        EXPECT_LE(needed.width, NSWidth([control frame])) << language << " " << [[control stringValue] UTF8String];
        EXPECT_LE(needed.height, NSHeight([control frame])) << language << " " << [[control stringValue] UTF8String];
    }
}

void ExpectTextsToFitInEachLanguage() {
    for (int identifier = 1; identifier <= 20; ++identifier) {
        const base::ScopedPool pool;
        const std::string language = std::to_string(identifier);
        CDownloadWindow *controller = NewWindow(language.c_str());
        for (const int minutes : {1, 2, 59, INT_MAX}) {
            [controller setProgressTime:minutes];
            ExpectTextsToFit(controller, language);
        }
        [controller release];
    }
}

} // namespace

TEST(DownloadWindow, TheTimeLine) {
    StartWindows();
    const struct {
        const char *language;
        int minutes;
        const char *line;
    } cases[] = {
        {nullptr, INT_MIN, "Time remaining: about 1 minute"}, {nullptr, -5, "Time remaining: about 1 minute"},
        {nullptr, 0, "Time remaining: about 1 minute"},       {nullptr, 1, "Time remaining: about 1 minute"},
        {nullptr, 2, "Time remaining: about 2 minutes"},      {"9", 1, "Verbleibende Zeit: etwa 1 Minute"},
        {"9", 90, "Verbleibende Zeit: etwa 90 Minuten"},      {"5", 3, "残り時間: 約 3 分"},
        {"16", 5, "Осталось времени: около 5 мин."},          {"", 4, "Time remaining: about 4 minutes"},
        {"99", 4, "Time remaining: about 4 minutes"},         {"\xff", 4, "Time remaining: about 4 minutes"},
    };
    for (const auto &test : cases) {
        const base::ScopedPool pool;
        CDownloadWindow *controller = NewWindow(test.language);
        [controller window];
        [controller setProgressTime:test.minutes];
        EXPECT_EQ(LineOf(controller), test.line);
        [controller release];
    }
}

TEST(DownloadWindow, StartsLocalisedAndVisible) {
    StartWindows();
    CDownloadWindow *controller = NewWindow("1");
    [controller setLanguageID:"7"];
    EXPECT_FALSE([controller isWindowLoaded]);
    EXPECT_EQ(StopOf(controller), "Arrêter");
    EXPECT_EQ(LineOf(controller), "Temps restant\u00a0: environ 1\u00a0minute");
    for (NSView *view : {static_cast<NSView *>([controller line]), static_cast<NSView *>([controller bar]),
                         static_cast<NSView *>([controller stopButton])}) {
        EXPECT_FALSE([view isHidden]) << [[view description] UTF8String];
    }
    EXPECT_FALSE([[controller line] isEditable]);
    EXPECT_FALSE([[controller bar] isIndeterminate]);
    EXPECT_EQ([[controller bar] minValue], 0);
    EXPECT_EQ([[controller bar] maxValue], 100);
    EXPECT_TRUE([controller acceptsFirstResponder]);
    [controller release];
}

TEST(DownloadWindow, ValuesTextAndTitle) {
    StartWindows();
    CDownloadWindow *controller = NewWindow(nullptr);
    [controller window];
    const struct {
        unsigned int percent;
        double value;
    } cases[] = {{33, 33}, {100, 100}, {101, 100}, {150, 100}, {UINT_MAX, 100}, {0, 0}};
    for (const auto &test : cases) {
        [controller setProgressValue:test.percent];
        EXPECT_EQ([[controller bar] doubleValue], test.value);
        NSTextField *share = [[[controller window] contentView] viewWithTag:1];
        EXPECT_EQ([[share stringValue] UTF8String], std::to_string(std::lround(test.value)) + "\u202F%");
    }
    [controller setProgressTimeText:@"R&D && more"];
    EXPECT_EQ(LineOf(controller), "R&D && more");
    [controller setWindowTitle:@"Kelvo"];
    [controller setWindowTitle:nil];
    EXPECT_STREQ([[[controller window] title] UTF8String], "Kelvo");
    [controller release];
}

// What the window says for two minutes in German when the bundle has only this text for it.
std::string OwnMinutes(const char *text) {
    Desktop::Get();
    const TempDir place;
    const std::filesystem::path resources(place / "own.bundle/Resources");
    std::filesystem::create_directories(resources);
    for (const char *name : {"Info-gnustep.plist", "progressWindow.xib"}) {
        std::filesystem::copy(std::filesystem::path(TEST_BUNDLE "/Resources") / name, resources);
    }
    place.Write("own.bundle/Resources/Localizable_German.strings",
                std::string("\"Time remaining: about %d minutes\" = \"") + text + "\";");
    [NSBundle bundleWithPath:[NSString stringWithUTF8String:(place / "own.bundle").c_str()]];
    [NSApplication sharedApplication];
    CDownloadWindow *controller = NewWindow("9");
    EXPECT_EQ(StopOf(controller), "Stop") << "a missing text is shown in English";
    EXPECT_EQ(LineOf(controller), "Time remaining: about 1 minute");
    [controller setProgressTime:2];
    const std::string line = LineOf(controller);
    [controller release];
    return line;
}

TEST(DownloadWindow, UsesATranslatedFormat) {
    EXPECT_EQ(OwnMinutes("%d Minuten"), "2 Minuten");
}

TEST(DownloadWindow, DoesNotUseAFormatThatAsksForSomethingElse) {
    EXPECT_EQ(OwnMinutes("%s Minuten"), "Time remaining: about 2 minutes");
}

TEST(DownloadWindow, TextsFitInEachLanguage) {
    StartWindows();
    ExpectTextsToFitInEachLanguage();
}

TEST(DownloadWindow, TextsFitInEachLanguageWithTheTheme) {
    StartWindows(TEST_THEME);
    ExpectTextsToFitInEachLanguage();
}

TEST(DownloadWindow, StopWithoutAManagerLeavesTheWindow) {
    StartWindows();
    CDownloadWindow *controller = NewWindow(nullptr);
    TraceRecorder traces;
    {
        const base::ScopedPool pool;
        [[controller window] makeKeyAndOrderFront:nil];
        [controller onStop:nil];
        EXPECT_TRUE([[controller window] isVisible]);
    }
    EXPECT_THAT(traces.Texts(3), ElementsAre("- (IBAction) onStop:(id)sender, no installMgr"));
    [controller release];
}

TEST_F(ShownWindow, StopOutlivesTheManagersRelease) {
    NSWindow *window = [[controller() window] retain];
    TraceRecorder traces;
    {
        const base::ScopedPool pool;
        [controller() onStop:nil];
        EXPECT_EQ(controller(), nil);
        EXPECT_FALSE(traces.HasPart("[CDownloadWindow dealloc]"));
    }
    EXPECT_FALSE([window isVisible]);
    EXPECT_TRUE(traces.HasPart("[CDownloadWindow dealloc]"));
    EXPECT_EQ([window delegate], nil);
    [window release];
}

TEST_P(StoppedWindow, ByAPerson) {
    ASSERT_TRUE(Appears());
    GetParam().keys ? desktop.Press(GetParam().keys) : ClickStop();
    ASSERT_TRUE(Eventually([&] { return !IsShown(); }));
    EXPECT_EQ(controller(), nil);
    EXPECT_EQ(host.stops, 1);
    EXPECT_EQ(host.LogCodes(), std::vector<std::string>{"901"});
}

// Each in a process of its own: a desktop may not give the keyboard to a second window right after the first.
INSTANTIATE_TEST_SUITE_P(Ways, StoppedWindow,
                         ::testing::Values(Way{"Click", nullptr}, Way{"Escape", "Escape"}, Way{"TabSpace", "Tab space"},
                                           Way{"TitleBar", "alt+F4"}),
                         [](const auto &way) { return way.param.name; });

// The press and the release wait for the program to come back, as while it checks a package.
TEST_F(ShownWindow, AClickWhileTheProgramIsBusyCounts) {
    ASSERT_TRUE(Appears());
    ClickStop(); // returns when the person is done; no event is handled meanwhile
    EXPECT_TRUE(Eventually([&] { return !IsShown(); }));
    EXPECT_EQ(host.stops, 1);
}

// Typed into another window, when this one came up.
TEST_F(ShownWindow, OrdinaryKeysDoNotStopTheDownload) {
    ASSERT_TRUE(Appears());
    desktop.Press("space Return KP_Enter a");
    ClickStop(); // comes after the keys, so they have been seen
    ASSERT_TRUE(Eventually([&] { return !IsShown(); }));
    EXPECT_EQ(host.stops, 1);
    EXPECT_EQ(host.LogCodes(), std::vector<std::string>{"901"});
}

TEST_F(ShownWindow, StandsInTheMiddleAndKeepsItsSize) {
    ASSERT_TRUE(Appears());
    const auto window = *desktop.WindowTitled(kTitle);
    EXPECT_NEAR(window.x + window.width / 2, 640, 2);
    EXPECT_GE(window.y, 0);
    EXPECT_LE(window.y + window.height, 800);
    const NSSize size = [[[controller() window] contentView] frame].size;
    EXPECT_EQ(window.width, static_cast<int>(size.width));
    EXPECT_EQ(window.height, static_cast<int>(size.height));
}
