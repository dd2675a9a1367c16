#include "host/run/MainLoop.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>

#import <AppKit/AppKit.h>
#import <GNUstepGUI/GSDisplayServer.h>

#import "base/objc/ScopedPool.h"
#include "base/Files.h"

namespace {

// An application whose window server went away while it was made has none, and its loop would never wait.
bool HasWindows() {
    return NSApp && GSCurrentServer();
}

// The application object hears of no window before its launch is finished, and complains when one that became key
// before resigns.
NSWindow *WindowThatIsKey() {
    NSEnumerator *windows = [[NSApp windows] objectEnumerator];
    while (NSWindow *window = [windows nextObject]) {
        if ([window isKeyWindow]) {
            return window;
        }
    }
    return nil;
}

// Without it the keyboard does nothing.
void FinishLaunch() {
    static bool finished = false;
    if (!finished) {
        finished = true;
        NSWindow *early = WindowThatIsKey();
        [early resignKeyWindow];
        [NSApp finishLaunching];
        [early makeKeyWindow];
    }
}

// A window that was shown before the launch was finished can come out of it without the keyboard.
void GiveKeyboard() {
    if (![NSApp isActive] || [NSApp keyWindow] || [NSApp modalWindow]) {
        return;
    }
    NSEnumerator *windows = [[NSApp windows] objectEnumerator];
    while (NSWindow *window = [windows nextObject]) {
        if ([window isVisible] && [window canBecomeKeyWindow] && ([window styleMask] & NSTitledWindowMask) != 0) {
            [window makeKeyWindow];
            return;
        }
    }
}

constexpr int kSettling = 20;

} // namespace

@interface LUMHostLoop : NSObject {
@public
    lumhost::MainLoop::Client *client;
    bool told;
    int settling;            // so many more ticks
    int bell;                // the pipe's end that is read
    std::atomic<bool> *rung; // and not yet answered
}
- (void)notice;
- (void)control:(NSTimer *)timer;
- (void)beat:(NSTimer *)timer;
- (void)woken:(NSNotification *)notification;
@end

@implementation LUMHostLoop

- (void)notice {
    if (!told && HasWindows()) {
        told = true;
        FinishLaunch();
        settling = kSettling;
        client->WindowsCame();
    }
}

- (void)control:(NSTimer *)timer {
    (void)timer;
    [self notice];
    if (settling > 0 && NSApp) {
        --settling;
        GiveKeyboard();
    }
    client->Control();
}

- (void)beat:(NSTimer *)timer {
    (void)timer;
    client->Beat();
}

- (void)woken:(NSNotification *)notification {
    std::array<char, 64> bytes{};
    while (read(bell, bytes.data(), bytes.size()) > 0) {
    }
    *rung = false;
    client->Woken();
    [[notification object] waitForDataInBackgroundAndNotify];
}

@end

namespace lumhost {

namespace {

NSString *const kUnpackingMode = @"LUMHostUnpackingMode";
constexpr double kBeat = 0.1;

LUMHostLoop *g_current = nil; // the one there is

void PostNothing() {
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
}

} // namespace

struct MainLoop::Parts {
    LUMHostLoop *loop = nil;
    NSFileHandle *bellHandle = nil;
    NSTimer *control = nil;
    NSTimer *beat = nil;
    base::ScopedDescriptor ringEnd;
    std::atomic<bool> rung{false};
    bool over = false;
};

MainLoop::MainLoop(Client &client) : m_parts(std::make_unique<Parts>()) {
    Parts &parts = *m_parts;
    parts.loop = [LUMHostLoop new];
    parts.loop->client = &client;
    parts.loop->rung = &parts.rung;
    g_current = parts.loop;
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) == 0) { // without it the next beat finds what has come
        parts.loop->bell = ends[0];
        parts.ringEnd = base::ScopedDescriptor(ends[1]);
        parts.bellHandle = [[NSFileHandle alloc] initWithFileDescriptor:ends[0] closeOnDealloc:YES];
        [[NSNotificationCenter defaultCenter] addObserver:parts.loop
                                                 selector:@selector(woken:)
                                                     name:NSFileHandleDataAvailableNotification
                                                   object:parts.bellHandle];
        [parts.bellHandle waitForDataInBackgroundAndNotify];
    }
    NSRunLoop *current = [NSRunLoop currentRunLoop];
    parts.control = [NSTimer timerWithTimeInterval:kBeat
                                            target:parts.loop
                                          selector:@selector(control:)
                                          userInfo:nil
                                           repeats:YES];
    for (NSString *mode : {NSDefaultRunLoopMode, NSModalPanelRunLoopMode, NSEventTrackingRunLoopMode, kUnpackingMode}) {
        [current addTimer:parts.control forMode:mode];
    }
    parts.beat = [NSTimer timerWithTimeInterval:kBeat
                                         target:parts.loop
                                       selector:@selector(beat:)
                                       userInfo:nil
                                        repeats:YES];
    [current addTimer:parts.beat forMode:NSDefaultRunLoopMode];
}

MainLoop::~MainLoop() {
    g_current = nil;
    [m_parts->control invalidate];
    [m_parts->beat invalidate];
    [[NSNotificationCenter defaultCenter] removeObserver:m_parts->loop];
    [m_parts->bellHandle release];
    [m_parts->loop release];
}

void MainLoop::Run() {
    while (!m_parts->over) {
        const base::ScopedPool pool;
        if (HasWindows()) {
            [m_parts->loop control:nil];
            if (!m_parts->over) {
                [NSApp run];
            }
        } else {
            [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode
                                     beforeDate:[NSDate dateWithTimeIntervalSinceNow:kBeat]];
        }
    }
}

void MainLoop::Quit() {
    m_parts->over = true;
    if (HasWindows()) {
        [NSApp stop:nil];
        PostNothing();
    }
}

std::function<void()> MainLoop::Waker() {
    return [this] {
        if (m_parts->ringEnd && !m_parts->rung.exchange(true)) {
            const char byte = 0;
            (void)!write(m_parts->ringEnd.get(), &byte, 1);
        }
    };
}

void MainLoop::KeepWindowsAlive(const std::function<bool(std::chrono::milliseconds)> &ended) {
    constexpr std::chrono::milliseconds kPause(10);
    while (!ended(kPause)) {
        const base::ScopedPool pool;
        if (!HasWindows()) { // only Control is due
            [[NSRunLoop currentRunLoop] runMode:kUnpackingMode beforeDate:[NSDate distantPast]];
        } else {
            while (NSEvent *event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                                       untilDate:[NSDate distantPast]
                                                          inMode:kUnpackingMode
                                                         dequeue:YES]) {
                [NSApp sendEvent:event];
            }
            [NSApp updateWindows];
        }
    }
}

void MainLoop::StartWindows() {
    [NSApplication sharedApplication];
    [g_current notice];
}

void MainLoop::EndModal() {
    if (HasWindows() && [NSApp modalWindow]) {
        [NSApp stopModalWithCode:NSCancelButton];
        PostNothing(); // a panel looks at its end only when an event has come
    }
}

} // namespace lumhost
