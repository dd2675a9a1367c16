#import <AppKit/AppKit.h>

#include <Carbon/Carbon.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#import "base/objc/ScopedPool.h"
#include "lum/platform/Session.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Desktop.h"

namespace {

OSErr BringToFront(const ChildProcess &child) {
    ProcessSerialNumber psn = {};
    EXPECT_EQ(GetProcessForPID(child.pid(), &psn), noErr);
    return SetFrontProcess(&psn);
}

bool WaitForActiveWindow(const std::string &title) {
    return WaitUntil([&] { return Desktop::Get().ActiveTitle() == title; });
}

TEST(WindowServer, BringsApplicationsToTheFront) {
    Desktop::Get();
    const ChildProcess first(WINDOWS_PROGRAM, {"-Titles", "first"});
    ASSERT_TRUE(Desktop::Get().WaitForWindow("first"));
    const ChildProcess second(WINDOWS_PROGRAM, {"-Titles", "second"});
    ASSERT_TRUE(Desktop::Get().WaitForWindow("second"));
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(BringToFront(first), noErr);
        EXPECT_TRUE(WaitForActiveWindow("first")) << Desktop::Get().ActiveTitle();
        EXPECT_EQ(BringToFront(second), noErr);
        EXPECT_TRUE(WaitForActiveWindow("second")) << Desktop::Get().ActiveTitle();
    }
}

TEST(WindowServer, PrefersTheUppermostWindowWithATitle) {
    Desktop::Get();
    const ChildProcess many(PLAIN_WINDOWS_PROGRAM, {"low", "high", ""});
    ASSERT_TRUE(Desktop::Get().WaitForWindow("high"));
    const ChildProcess other(PLAIN_WINDOWS_PROGRAM, {"other"});
    ASSERT_TRUE(WaitForActiveWindow("other")) << Desktop::Get().ActiveTitle();
    EXPECT_EQ(BringToFront(many), noErr);
    EXPECT_TRUE(WaitForActiveWindow("high")) << Desktop::Get().ActiveTitle();
}

TEST(WindowServer, TakesAWindowWithoutATitleWhenThereIsNoOther) {
    Desktop::Get();
    const ChildProcess untitled(PLAIN_WINDOWS_PROGRAM, {""});
    EXPECT_TRUE(WaitUntil([&] { return BringToFront(untitled) == noErr; }));
}

TEST(WindowServer, KnowsNoWindowOfAProcessWithoutOne) {
    Desktop::Get();
    EXPECT_TRUE(IsWindowServerAvailable());
    const ChildProcess child(IDLE_PROGRAM);
    EXPECT_EQ(BringToFront(child), appIsDaemon) << "without the bundle there is nothing that waits";
}

// Minimized, so that the window manager does not bring it to the front by itself.
TEST(WindowServer, BringsAWindowThatComesLateToTheFront) {
    Desktop::Get();
    const base::ScopedPool pool;
    [NSBundle bundleWithPath:@TEST_BUNDLE];
    const TempDir dir;
    const ChildProcess late(
        "sh", {"-c", "until [ -e '" + (dir / "go") + "' ]; do sleep 0.1; done; exec " PLAIN_WINDOWS_PROGRAM " -late"});
    const ChildProcess other(PLAIN_WINDOWS_PROGRAM, {"other"});
    ASSERT_TRUE(WaitForActiveWindow("other"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(BringToFront(late), noErr);
    }
    // The programs that are told this process id; the brackets keep the search from finding itself.
    const std::string pid = std::to_string(late.pid());
    const std::string argument = "[" + pid.substr(0, 1) + "]" + pid.substr(1);
    EXPECT_EQ(OutputOf("grep -slxz '" + argument + "' /proc/[0-9]*/cmdline | wc -l"), "1\n") << "one waits";
    dir.Write("go", "");
    EXPECT_TRUE(WaitForActiveWindow("-late")) << Desktop::Get().ActiveTitle();
}

TEST(WindowServer, MayBeAbsent) {
    const ChildProcess child(IDLE_PROGRAM);
    for (const char *display : {"", ":98765", "nonsense", "unix:/nowhere:0", ":0.7x"}) {
        setenv("DISPLAY", display, 1);
        EXPECT_FALSE(IsWindowServerAvailable()) << display;
        EXPECT_EQ(BringToFront(child), connectionInvalid) << display;
    }
    unsetenv("DISPLAY");
    EXPECT_FALSE(IsWindowServerAvailable());
    EXPECT_EQ(BringToFront(child), connectionInvalid);
}

TEST(WindowServer, HasTheToolkitsLevels) {
    EXPECT_EQ(CGWindowLevelForKey(kCGFloatingWindowLevelKey), NSFloatingWindowLevel);
    EXPECT_EQ(CGWindowLevelForKey(kCGNormalWindowLevelKey), NSNormalWindowLevel);
}

} // namespace
