#include "tests/lum/ui/Windows.h"

#include <gtest/gtest.h>

#include <cstdlib>

#import <AppKit/AppKit.h>

#include "base/objc/ScopedPool.h"
#include "theme/UseTheme.h"

Desktop &StartWindows(const char *theme) {
    Desktop &desktop = Desktop::Get();
    [NSBundle bundleWithPath:@TEST_BUNDLE]; // found by its identifier from now on
    UseTheme(theme);
    [NSApplication sharedApplication];
    [NSApp finishLaunching]; // before that no window is given the keyboard
    return desktop;
}

bool Eventually(const std::function<bool()> &condition) {
    return WaitUntil([&] {
        const base::ScopedPool pool;
        while (NSEvent *event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                                   untilDate:[NSDate dateWithTimeIntervalSinceNow:0.01]
                                                      inMode:NSDefaultRunLoopMode
                                                     dequeue:YES]) {
            [NSApp sendEvent:event];
        }
        return condition();
    });
}

namespace {

// The command that succeeds while the window of this title has the keyboard.
std::string HasKeyboardCommand(const std::string &title) {
    return "test \"$(xdotool getwindowfocus getwindowname 2>/dev/null)\" = '" + title + "'";
}

} // namespace

bool HasKeyboard(const std::string &title) {
    return std::system(HasKeyboardCommand(title).c_str()) == 0;
}

std::unique_ptr<ChildProcess> AnswerWhenShown(const std::string &title, const std::string &keys) {
    const std::string script = "until " + HasKeyboardCommand(title) + "; do sleep 0.05; done; xdotool key " + keys;
    return std::make_unique<ChildProcess>("/bin/sh", std::vector<std::string>{"-c", script});
}

// A press and a release in the same moment would be taken for a press alone.
void Click(int x, int y) {
    const std::string place = std::to_string(x) + " " + std::to_string(y);
    const std::string command = "xdotool mousemove " + place + " mousedown 1 sleep 0.1 mouseup 1";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
}
