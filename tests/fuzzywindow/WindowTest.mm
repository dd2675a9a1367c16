// The window on a real screen: seen, moved and closed as a person does.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>

#import "base/objc/ScopedPool.h"
#include "tests/fuzzywindow/FakeDelegate.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Desktop.h"
#include "tests/support/TempDir.h"

#import <AppKit/AppKit.h>

namespace {

constexpr char kTitle[] = "Kelvo Meetings";
constexpr std::uint32_t kAccent = 0x3B7DDD;
constexpr std::uint32_t kLock = 0x5BD68A;

} // namespace

// Ends a running application as soon as a condition holds.
@interface LUMTestWatch : NSObject {
@public
    const std::function<bool()> *condition;
    NSDate *limit;
    bool held;
}
- (void)look:(NSTimer *)timer;
- (void)wake;
@end

@implementation LUMTestWatch
// A stopped application looks up only when the window server says something.
- (void)wake {
    static NSWindow *window = [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, 1, 1)
                                                          styleMask:NSBorderlessWindowMask
                                                            backing:NSBackingStoreBuffered
                                                              defer:NO];
    [NSApp postEvent:[NSEvent otherEventWithType:NSApplicationDefined
                                        location:NSZeroPoint
                                   modifierFlags:0
                                       timestamp:0
                                    windowNumber:0
                                         context:nil
                                         subtype:0
                                           data1:0
                                           data2:0]
             atStart:NO];
    if ([window isVisible]) {
        [window orderOut:nil];
    } else {
        [window orderBack:nil];
    }
}

- (void)look:(NSTimer *)timer {
    (void)timer;
    held = held || (*condition)();
    if (held || [limit timeIntervalSinceNow] < 0) { // repeated until it has been noticed
        [NSApp stop:nil];
        [self wake];
    }
}
@end

namespace {

// Runs the application until the condition holds, at most half a minute; returns whether it holds.
bool Eventually(const std::function<bool()> &condition) {
    const base::ScopedPool pool;
    LUMTestWatch *watch = [[LUMTestWatch new] autorelease];
    watch->condition = &condition;
    watch->limit = [NSDate dateWithTimeIntervalSinceNow:30];
    NSTimer *timer = [NSTimer scheduledTimerWithTimeInterval:0.02
                                                      target:watch
                                                    selector:@selector(look:)
                                                    userInfo:nil
                                                     repeats:YES];
    [NSApp run];
    [timer invalidate];
    const bool held = watch->held;
    return held;
}

class PlaceholderWindow : public ::testing::Test {
protected:
    PlaceholderWindow() {
        delegate.positionFile = place / "2.4/kelvopos.plist";
        delegate.installPath = place / "2.4";
    }

    bool Appears() {
        return Eventually([&] { return desktop.WindowTitled(kTitle).has_value(); });
    }
    bool Disappears() {
        return Eventually([&] { return desktop.WindowsTitled(kTitle).empty(); });
    }
    // Pixels of the accent colour in the bar's line: its length, because nothing else there has that colour.
    int BarLength() {
        const auto window = desktop.WindowTitled(kTitle);
        if (!window) {
            return -1;
        }
        return desktop.CountPixels(window->x, window->y + window->height - 47, window->width, 1, kAccent);
    }

    Desktop &desktop = Desktop::Get();
    TempDir place;
    FakeDelegate delegate;
    ScopedManager manager{createLumFuzzyWindow(&delegate)};
};

} // namespace

TEST_F(PlaceholderWindow, ShowsTheShareThatHasArrived) {
    manager->start();
    ASSERT_TRUE(Appears());
    EXPECT_FALSE(manager->isReady());
    const struct {
        unsigned int total, arrived;
        int length; // of 480
    } steps[] = {{1000, 0, 0},
                 {1000, 250, 120},
                 {1000, 250, 240},
                 {4000000000u, 0, 0},
                 {4000000000u, 3000000000u, 360},
                 {4000000000u, 3000000000u, 480}};
    for (const auto &step : steps) {
        manager->setTotalDownloadSize(step.total);
        manager->updateDownloadedSize(step.arrived);
        EXPECT_TRUE(Eventually([&] { return std::abs(BarLength() - step.length) <= 2; }))
            << step.total << " " << step.arrived << " " << BarLength();
    }
}

TEST_F(PlaceholderWindow, MovesWhileTheShareIsUnknown) {
    manager->start();
    ASSERT_TRUE(Appears());
    manager->updateDownloadedSize(100);
    manager->setTotalDownloadSize(0);
    std::set<int> lengths;
    EXPECT_TRUE(Eventually([&] {
        lengths.insert(BarLength());
        return lengths.size() > 3; // it comes in at one end and leaves at the other
    }));
    manager->setTotalDownloadSize(200);
    EXPECT_TRUE(Eventually([&] { return std::abs(BarLength() - 240) <= 2; }));
}

TEST_F(PlaceholderWindow, ShowsThatAllHasArrivedBeforeTheThreadIsBusy) {
    manager->start();
    ASSERT_TRUE(Appears());
    ASSERT_TRUE(Eventually([&] { return BarLength() > 0; }));
    manager->setTotalDownloadSize(1000);
    manager->noticeDownloadSuccess();
    EXPECT_TRUE(WaitUntil([&] { return BarLength() >= 478; })) << BarLength(); // without any event being handled
    EXPECT_TRUE(manager->isReady());
}

TEST_F(PlaceholderWindow, ShowsALockOnlyWithSSL) {
    for (const bool ssl : {true, false}) {
        delegate.ssl = ssl;
        manager->start();
        ASSERT_TRUE(Appears());
        ASSERT_TRUE(Eventually([&] { return BarLength() > 0; }));
        const auto window = *desktop.WindowTitled(kTitle);
        EXPECT_EQ(desktop.CountPixels(window.x, window.y, window.width, window.height, kLock) > 50, ssl);
        manager->stop();
        ASSERT_TRUE(Disappears());
    }
}

class ClosingThePlaceholderWindow : public PlaceholderWindow, public ::testing::WithParamInterface<const char *> {};

TEST_P(ClosingThePlaceholderWindow, EndsTheStart) {
    delegate.whenStopped = [this] { manager->stop(); };
    manager->start();
    ASSERT_TRUE(Appears());
    EXPECT_TRUE(Eventually([&] {
        if (delegate.stops == 0) {
            desktop.Press(GetParam()); // again, if the window had no keyboard yet
        }
        return delegate.stops > 0;
    }));
    EXPECT_TRUE(Disappears());
    EXPECT_EQ(delegate.stops, 1);
    EXPECT_TRUE(manager->isReady());
    EXPECT_TRUE(std::filesystem::exists(delegate.positionFile));
}

INSTANTIATE_TEST_SUITE_P(, ClosingThePlaceholderWindow, ::testing::Values("alt+F4", "Escape"));

TEST_F(PlaceholderWindow, MayBeDestroyedByTheEndOfTheStart) {
    delegate.whenStopped = [this] { manager.reset(); };
    manager->start();
    ASSERT_TRUE(Appears());
    EXPECT_TRUE(Eventually([&] {
        if (delegate.stops == 0) {
            desktop.Press("Escape");
        }
        return delegate.stops > 0;
    }));
    EXPECT_TRUE(Disappears());
}

TEST_F(PlaceholderWindow, HandlesItsEventsWhereNothingElseDoes) {
    manager->start();
    EXPECT_TRUE(WaitUntil([&] {
        manager->setTotalDownloadSize(1000);
        return desktop.WindowTitled(kTitle).has_value();
    }));
    EXPECT_TRUE(WaitUntil([&] {
        if (delegate.stops == 0) {
            desktop.Press("Escape");
        }
        manager->updateDownloadedSize(1);
        return delegate.stops > 0;
    }));
}

TEST_F(PlaceholderWindow, IsFoundWhereItWasLeft) {
    manager->start();
    ASSERT_TRUE(Appears());
    desktop.MoveWindow(kTitle, 101, 157);
    ASSERT_TRUE(Eventually([&] { return std::abs(desktop.WindowTitled(kTitle)->x - 101) < 10; }));
    const Desktop::Window left = *desktop.WindowTitled(kTitle);
    for (int again = 0; again < 3; ++again) { // it must not creep either
        manager.reset();
        ASSERT_TRUE(Disappears());
        manager.reset(createLumFuzzyWindow(&delegate));
        manager->start();
        ASSERT_TRUE(Appears());
        EXPECT_TRUE(Eventually([&] {
            const Desktop::Window now = *desktop.WindowTitled(kTitle);
            return now.x == left.x && now.y == left.y;
        })) << desktop.WindowTitled(kTitle)->x
            << "," << desktop.WindowTitled(kTitle)->y << " instead of " << left.x << "," << left.y;
    }
}

TEST_F(PlaceholderWindow, StandsOnTheScreenWhateverTheFileSays) {
    const char *const files[] = {
        "{ Left = <*R-5000>; Top = <*R90000>; }",
        "{ Left = <*R5000>; Top = <*R-5000>; }",
        "{ Left = <*R1e300>; Top = <*R0>; }",
        "{ Left = (1); Top = { a = b; }; }",
        "{ Top = <*R10>; }",
        "<plist><dict>",
        "\xFF\xFE\x00",
        "",
        "( 1, 2 )",
    };
    for (const char *content : files) {
        place.Write("2.4/kelvopos.plist", content);
        manager->start();
        ASSERT_TRUE(Appears()) << content;
        const auto inside = [&] {
            const Desktop::Window window = *desktop.WindowTitled(kTitle);
            return window.x >= 0 && window.y >= 0 && window.x + window.width <= 1280 && window.y + window.height <= 800;
        };
        EXPECT_TRUE(Eventually(inside)) << content;
        manager->stop();
        ASSERT_TRUE(Disappears());
    }
}

TEST_F(PlaceholderWindow, SaysThatItsPlaceCannotBeKept) {
    delegate.positionFile = place.Write("file", "not a folder") + "/kelvopos.plist";
    manager->start();
    ASSERT_TRUE(Appears());
    manager->stop();
    ASSERT_EQ(delegate.warnings.size(), 1u);
    EXPECT_NE(delegate.warnings[0].find("place"), std::string::npos) << delegate.warnings[0];
    EXPECT_EQ(ReadFile(place / "file"), "not a folder");
}

TEST_F(PlaceholderWindow, GoesWhenTheApplicationAnnouncesItself) {
    NSNotificationCenter *centre = [NSDistributedNotificationCenter defaultCenter];
    const auto announce = [&] { [centre postNotificationName:@"KLVMeetingLaunchedNotification" object:nil]; };
    manager->start();
    ASSERT_TRUE(Appears());
    announce(); // another meeting's: everything has not arrived yet
    manager->noticeDownloadSuccess();
    ASSERT_TRUE(Appears());
    EXPECT_TRUE(Eventually([&] {
        announce();
        return desktop.WindowsTitled(kTitle).empty();
    }));
    EXPECT_EQ(delegate.stops, 0);
    EXPECT_TRUE(std::filesystem::exists(delegate.positionFile));
    EXPECT_TRUE(delegate.warnings.empty());
}

TEST_F(PlaceholderWindow, StartsAndStopsAgain) {
    manager->stop();
    for (int round = 0; round < 2; ++round) {
        manager->start();
        manager->start();
        ASSERT_TRUE(Appears()); // one
        manager->stop();
        manager->stop();
        ASSERT_TRUE(Disappears());
    }
    EXPECT_EQ(delegate.stops, 0);
    const std::pair<std::string *, const char *> emptied[] = {
        {&delegate.title, "Weekly planning"},
        {&delegate.texts[FUZZY_WINDOW_MEETING_TOPIC], "Preparing your meeting..."}};
    for (const auto &[text, title] : emptied) {
        text->clear();
        manager->start();
        EXPECT_TRUE(Eventually([&] { return desktop.WindowTitled(title).has_value(); })) << title;
        manager->stop();
    }
}

TEST_F(PlaceholderWindow, HasADiscOnlyForALetter) {
    for (const char *name : {"Anna", ""}) {
        delegate.texts[FUZZY_WINDOW_MEETING_TOPIC] = delegate.texts[FUZZY_WINDOW_HOST_NAME] = name;
        manager->start();
        ASSERT_TRUE(Appears());
        ASSERT_TRUE(Eventually([&] { return BarLength() > 0; }));
        const auto window = *desktop.WindowTitled(kTitle);
        const int accent = desktop.CountPixels(window.x, window.y, window.width, window.height - 60, kAccent);
        EXPECT_EQ(accent > 1000, *name != 0) << accent;
        manager->stop();
        ASSERT_TRUE(Disappears());
    }
}

TEST(PlaceholderWithoutWindowServer, IsNotShownAndNothingFails) {
    setenv("DISPLAY", ":59999", 1);
    TempDir place;
    FakeDelegate delegate;
    delegate.positionFile = place / "kelvopos.plist";
    const ScopedManager manager(createLumFuzzyWindow(&delegate));
    manager->start();
    manager->setTotalDownloadSize(10);
    manager->updateDownloadedSize(5);
    EXPECT_TRUE(manager->isReady());
    manager->noticeDownloadSuccess();
    manager->stop();
    EXPECT_EQ(delegate.infos.size(), 1u);
    EXPECT_TRUE(delegate.warnings.empty());
    EXPECT_FALSE(std::filesystem::exists(delegate.positionFile));
}
