// The look: that programs get it, and that alerts in it answer to a person.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#import <AppKit/AppKit.h>
#import <GNUstepGUI/GSTheme.h>

#include "base/objc/ScopedPool.h"
#include "lum/platform/Session.h"
#include "tests/lum/ui/Windows.h"
#include "tests/support/FakeHost.h"
#include "lum/platform/linux/windows/UseTheme.h"

namespace {

constexpr std::uint32_t kGround = 0xF6F7F9;

int AnswerTo(const std::string &keys) {
    const base::ScopedPool pool;
    NSAlert *alert = [NSAlert alertWithMessageText:@"Really?"
                                     defaultButton:@"OK"
                                   alternateButton:@"Cancel"
                                       otherButton:nil
                         informativeTextWithFormat:@"It cannot be undone."];
    const auto person = Desktop::Get().PressOnceShown("Alert", keys);
    return static_cast<int>([alert runModal]);
}

std::string ThemeName() {
    return [[[GSTheme theme] name] UTF8String];
}

} // namespace

TEST(Theme, IsUsedAndHidesTheProgramsIcon) {
    Desktop &desktop = StartWindows(TEST_THEME);
    EXPECT_EQ(ThemeName(), "Lum");
    EXPECT_TRUE([[NSUserDefaults standardUserDefaults] boolForKey:@"GSSuppressAppIcon"]);
    NSWindow *window = [[NSWindow alloc] initWithContentRect:NSMakeRect(300, 300, 200, 100)
                                                   styleMask:NSTitledWindowMask
                                                     backing:NSBackingStoreBuffered
                                                       defer:NO];
    [window setTitle:@"Empty"];
    [window makeKeyAndOrderFront:nil];
    EXPECT_TRUE(Eventually([&] {
        const auto place = desktop.WindowTitled("Empty");
        return place && desktop.CountPixels(place->x, place->y, 200, 100, kGround) == 200 * 100;
    }));
    [window close];
}

// A container that knows nothing of the theme.
TEST(Theme, ComesWithTheExtension) {
    Desktop::Get();
    [NSBundle bundleWithPath:@TEST_BUNDLE];
    FakeHost host;
    void *extension = nullptr;
    ASSERT_EQ(LumInitInstance(&host, &host.table, &extension), 0U);
    [NSApplication sharedApplication];
    EXPECT_EQ(ThemeName(), "Lum");
    LumExitInstance(&host, extension);
}

TEST(Theme, OfTheExtensionLeavesAContainersOwnLook) {
    StartWindows();
    UseLookOfBundle([NSBundle bundleWithPath:@TEST_BUNDLE]);
    EXPECT_NE(ThemeName(), "Lum");
    EXPECT_EQ([[NSUserDefaults standardUserDefaults] stringForKey:@"GSTheme"], nil);
}

TEST(Theme, WithoutItTheLookIsTheLibrarys) {
    for (const char *path : {static_cast<const char *>(nullptr), "", "/nowhere/Lum.theme"}) {
        UseTheme(path);
    }
    StartWindows();
    EXPECT_NE(ThemeName(), "Lum");
}

TEST(Theme, SignalsStayTheProgramsOwn) {
    const auto own = [](int) {};
    for (const int number : {SIGINT, SIGTERM}) {
        std::signal(number, own);
    }
    StartWindows(TEST_THEME);
    for (const int number : {SIGINT, SIGTERM}) {
        EXPECT_TRUE(std::signal(number, SIG_DFL) == own) << number;
    }
}

TEST(Theme, TheUsersChoiceWins) {
    // What is given for one run stands in for what is kept, which belongs to the person who runs the tests.
    NSUserDefaults *settings = [NSUserDefaults standardUserDefaults];
    [settings removeVolatileDomainForName:NSArgumentDomain];
    [settings setVolatileDomain:[NSDictionary dictionaryWithObject:@"GNUstep" forKey:@"GSTheme"]
                        forName:NSArgumentDomain];
    StartWindows(TEST_THEME);
    EXPECT_NE(ThemeName(), "Lum");
}

TEST(Theme, AlertsAnswerToKeysAndToTheirCloseButton) {
    StartWindows(TEST_THEME);
    EXPECT_EQ(AnswerTo("Return"), NSAlertDefaultReturn);
    EXPECT_EQ(AnswerTo("alt+F4"), NSAlertAlternateReturn);
    EXPECT_EQ(AnswerTo("Tab space"), NSAlertAlternateReturn);
    EXPECT_EQ(AnswerTo("space"), NSAlertDefaultReturn);
    EXPECT_NE(AnswerTo("Escape"), NSAlertDefaultReturn);
}
