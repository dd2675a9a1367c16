#import "fuzzywindow/PlaceholderWindow.h"

#import "base/objc/ScopedPool.h"
#import "base/objc/SessionNotifications.h"
#import "fuzzywindow/WindowPlace.h"

namespace {

NSString *const kLaunchedNotification = @"KLVMeetingLaunchedNotification";
constexpr NSTimeInterval kLongestWait = 30;
constexpr unichar kEscape = 0x1B;

} // namespace

@interface LUMPlaceholderPanel : NSWindow
@end

@implementation LUMPlaceholderPanel

- (BOOL)canBecomeKeyWindow {
    return YES;
}

- (void)keyDown:(NSEvent *)event {
    NSString *keys = [event charactersIgnoringModifiers];
    if ([keys length] == 1 && [keys characterAtIndex:0] == kEscape) {
        [self performClose:self];
    } else {
        [super keyDown:event];
    }
}

@end

@interface LUMPlaceholderController : NSObject {
    LUMPlaceholderPanel *_window;
    LUMPlaceholderView *_view;
    NSTimer *_limit;
    NSString *_placeFile;
    PlaceholderWindow::Owner *_owner;
}
- (id)initWithTexts:(const PlaceholderTexts &)texts
          placeFile:(const std::string &)placeFile
              owner:(PlaceholderWindow::Owner *)owner;
- (BOOL)isShown;
- (void)bringToFront;
- (LUMPlaceholderView *)view;
- (void)goWhenLaunched;
- (void)stopWaiting;
- (void)showNow;
- (void)putAway;
@end

@implementation LUMPlaceholderController

- (id)initWithTexts:(const PlaceholderTexts &)texts
          placeFile:(const std::string &)placeFile
              owner:(PlaceholderWindow::Owner *)owner {
    self = [super init];
    if (!self) {
        return nil;
    }
    _owner = owner;
    _placeFile = [[NSString alloc] initWithUTF8String:placeFile.c_str()];
    _view = [[LUMPlaceholderView alloc] initWithTexts:texts];
    _window = [[LUMPlaceholderPanel alloc]
        initWithContentRect:[_view frame]
                  styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable | NSWindowStyleMaskMiniaturizable
                    backing:NSBackingStoreBuffered
                      defer:NO];
    [_window setReleasedWhenClosed:NO];
    const std::string &title = !texts.title.empty()   ? texts.title
                               : !texts.topic.empty() ? texts.topic
                                                      : texts.preparing; // rather than the library's "Unnamed Window"
    NSString *shown = [NSString stringWithUTF8String:title.c_str()];
    [_window setTitle:shown ? shown : @""];
    [_window setContentView:_view];
    [_window setMinSize:[_window frame].size]; // one size only, so there is nothing to zoom
    [_window setMaxSize:[_window frame].size];
    [_window setDelegate:(id)self];
    RestorePlace(_window, placeFile);
    return self;
}

- (void)dealloc { // put away by then
    [_view release];
    [_placeFile release];
    [super dealloc];
}

- (BOOL)isShown {
    return _window != nil;
}

- (LUMPlaceholderView *)view {
    return _view;
}

- (void)bringToFront {
    [NSApp activateIgnoringOtherApps:YES];
    [_window makeKeyAndOrderFront:nil];
}

- (void)showNow {
    [_window displayIfNeeded];
    [_window flushWindow];
    [[_window graphicsContext] flushGraphics];
}

- (void)goWhenLaunched {
    if (_limit || !_window) {
        return;
    }
    _limit = [[NSTimer timerWithTimeInterval:kLongestWait
                                      target:self
                                    selector:@selector(putAway)
                                    userInfo:nil
                                     repeats:NO] retain];
    [[NSRunLoop currentRunLoop] addTimer:_limit forMode:NSDefaultRunLoopMode];
    const bool hears = base::WithSessionNotifications([self](NSDistributedNotificationCenter *session) {
        base::HearAtOnce(session, self, @selector(applicationLaunched:), kLaunchedNotification);
    });
    if (!hears) { // the time limit remains
        _owner->Warn("The meeting application's announcement cannot be heard.");
    }
}

- (void)stopWaiting {
    if (!_limit) {
        return;
    }
    [_limit invalidate];
    [_limit release];
    _limit = nil;
    base::WithSessionNotifications([self](NSDistributedNotificationCenter *session) { [session removeObserver:self]; });
}

- (void)applicationLaunched:(NSNotification *)notification {
    (void)notification;
    [self putAway];
}

- (void)putAway {
    if (!_window) {
        return;
    }
    [[self retain] autorelease]; // the timer and the notification centre may hold the last reference
    [self stopWaiting];
    [_view stopAnimation];
    const base::Result<void> kept = KeepPlace(_window, _placeFile ? [_placeFile UTF8String] : "");
    LUMPlaceholderPanel *window = _window;
    _window = nil;
    [window setDelegate:nil];
    [window orderOut:nil];
    [window autorelease]; // it may be in the middle of an event
    if (!kept) {
        _owner->Warn("The window's place is not kept: " + kept.error().text);
    }
}

- (BOOL)windowShouldClose:(id)sender {
    (void)sender;
    [[self retain] autorelease];
    [self putAway];
    _owner->ClosedByUser();
    return NO; // it is gone already
}

@end

namespace {

class ScopedFlag {
public:
    explicit ScopedFlag(bool &flag) : m_flag(flag) {
        m_flag = true;
    }
    ~ScopedFlag() {
        m_flag = false;
    }
    ScopedFlag(const ScopedFlag &) = delete;
    ScopedFlag &operator=(const ScopedFlag &) = delete;

private:
    bool &m_flag;
};

bool IsKeyEvent(NSEvent *event) {
    return [event type] == NSKeyDown || [event type] == NSKeyUp;
}

// An application that does not run has not learned which of its windows has the keyboard.
LUMPlaceholderPanel *KeyPanel() {
    NSEnumerator *windows = [[NSApp windows] objectEnumerator];
    while (id window = [windows nextObject]) {
        if ([window isKindOfClass:[LUMPlaceholderPanel class]] && [window isKeyWindow]) {
            return window;
        }
    }
    return nil;
}

void NeedApplication() {
    if (NSApp) {
        return;
    }
    // A process that had no application gets no icon on the desktop from this one window.
    [[NSUserDefaults standardUserDefaults] registerDefaults:[NSDictionary dictionaryWithObject:@"YES"
                                                                                        forKey:@"GSSuppressAppIcon"]];
    [NSApplication sharedApplication];
}

} // namespace

PlaceholderWindow::PlaceholderWindow(const PlaceholderTexts &texts, const std::string &placeFile, Owner &owner) {
    const base::ScopedPool pool;
    NeedApplication();
    m_controller = [[LUMPlaceholderController alloc] initWithTexts:texts placeFile:placeFile owner:&owner];
    BringToFront();
}

PlaceholderWindow::~PlaceholderWindow() {
    const base::ScopedPool pool;
    [m_controller putAway];
    [m_controller release];
}

bool PlaceholderWindow::IsShown() const {
    return [m_controller isShown];
}

void PlaceholderWindow::BringToFront() {
    const base::ScopedPool pool;
    [m_controller bringToFront];
    [m_controller showNow];
}

void PlaceholderWindow::ShowShare(int percent) {
    const base::ScopedPool pool;
    [[m_controller view] setPercent:percent];
}

void PlaceholderWindow::ShowConnecting() {
    const base::ScopedPool pool;
    [[m_controller view] showConnecting];
    [m_controller showNow];
    [m_controller goWhenLaunched];
}

void PlaceholderWindow::HandleEvents() {
    static bool within = false;
    if (within || !NSApp || [NSApp isRunning]) {
        return;
    }
    const ScopedFlag flag(within);
    const base::ScopedPool pool;
    while (NSEvent *event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                               untilDate:[NSDate distantPast]
                                                  inMode:NSDefaultRunLoopMode
                                                 dequeue:YES]) {
        LUMPlaceholderPanel *keyPanel = IsKeyEvent(event) && ![event window] ? KeyPanel() : nil;
        if (keyPanel) {
            [keyPanel sendEvent:event];
        } else {
            [NSApp sendEvent:event];
        }
    }
}
