#include "tests/lum/ui/Windows.h"

#import <AppKit/AppKit.h>

#include "base/objc/ScopedPool.h"
#include "lum/platform/linux/windows/UseTheme.h"

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
