#import <SecurityInterface/SFCertificateTrustPanel.h>

#include <algorithm>

#import <AppKit/AppKit.h>

#import "lum/platform/linux/trust/Objects.h"
#import "lum/platform/linux/trust/TrustPanelView.h"
#import "base/objc/ScopedPool.h"
#import "lum/platform/Session.h"

namespace {

constexpr CGFloat kMargin = 20;
constexpr CGFloat kContentWidth = 560;
constexpr CGFloat kButtonGap = 10;
constexpr CGFloat kLeastButtonWidth = 88;
constexpr CGFloat kButtonHeight = 28;
constexpr unichar kEscape = 0x1B;

NSButton *NewButton(NSString *title, SEL action, id target) {
    NSButton *button = [[NSButton alloc] initWithFrame:NSZeroRect];
    [button setTitle:title];
    [button setButtonType:NSMomentaryPushInButton];
    [button setBezelStyle:NSRoundedBezelStyle];
    [button setTarget:target];
    [button setAction:action];
    [button sizeToFit];
    [button
        setFrameSize:NSMakeSize(std::max(NSWidth([button frame]) + 2 * kButtonGap, kLeastButtonWidth), kButtonHeight)];
    return button;
}

bool IsKey(NSEvent *event, unichar key) {
    return
        [event type] == NSKeyDown && [[event characters] length] == 1 && [[event characters] characterAtIndex:0] == key;
}

// Tells the application object that the window has the keyboard, while this lives. In a container with an event loop of
// its own that object was perhaps never launched; it then does not hear of it by itself and drops every key.
class KeyboardNotice {
public:
    explicit KeyboardNotice(NSWindow *window) : m_window(window) {
        Forward(NSWindowDidBecomeKeyNotification, @selector(_windowDidBecomeKey:));
        Forward(NSWindowDidResignKeyNotification, @selector(_windowDidResignKey:));
    }
    ~KeyboardNotice() {
        for (NSString *name : {NSWindowDidBecomeKeyNotification, NSWindowDidResignKeyNotification}) {
            [[NSNotificationCenter defaultCenter] removeObserver:NSApp name:name object:m_window];
        }
    }
    KeyboardNotice(const KeyboardNotice &) = delete;
    KeyboardNotice &operator=(const KeyboardNotice &) = delete;

private:
    void Forward(NSString *name, SEL method) {
        if ([NSApp respondsToSelector:method]) {
            [[NSNotificationCenter defaultCenter] addObserver:NSApp selector:method name:name object:m_window];
        }
    }

    NSWindow *m_window;
};

} // namespace

// Wherever the focus is, Escape refuses; the keypad's Enter is as good as Return.
@interface LUMTrustPanelWindow : NSPanel
@end

@implementation LUMTrustPanelWindow

- (void)sendEvent:(NSEvent *)event {
    if (IsKey(event, kEscape)) {
        [NSApp stopModalWithCode:NSCancelButton];
    } else if (IsKey(event, NSEnterCharacter)) {
        [[self defaultButtonCell] performClick:self];
    } else {
        [super sendEvent:event];
    }
}

@end

@interface SFCertificateTrustPanel ()
- (NSPanel *)newWindowForJudgement:(const sec::Judgement &)judgement message:(NSString *)message;
- (void)addButtonsTo:(NSPanel *)window;
- (void)accept:(id)sender;
- (void)refuse:(id)sender;
@end

@implementation SFCertificateTrustPanel

+ (SFCertificateTrustPanel *)sharedCertificateTrustPanel {
    static SFCertificateTrustPanel *panel = [SFCertificateTrustPanel new];
    return panel;
}

- (void)dealloc {
    [myAlternateButtonTitle release];
    [super dealloc];
}

- (void)setAlternateButtonTitle:(NSString *)title {
    if (title != myAlternateButtonTitle) {
        [myAlternateButtonTitle release];
        myAlternateButtonTitle = [title copy];
    }
}

- (NSInteger)runModalForTrust:(SecTrustRef)trust message:(NSString *)message {
    const sec::Judgement *judgement = trust ? sec::Object(trust)->judgement : nullptr;
    if (!judgement || !IsWindowServerAvailable()) {
        return NSCancelButton;
    }
    const base::ScopedPool pool;
    [NSApplication sharedApplication];
    PreferFontsForLocalization([TrustPanelLocalization() UTF8String]);
    NSPanel *window = [[self newWindowForJudgement:*judgement message:message] autorelease];
    [window center];
    const KeyboardNotice notice(window);
    [NSApp activateIgnoringOtherApps:YES];
    [window makeKeyAndOrderFront:nil];
    const NSInteger answer = [NSApp runModalForWindow:window];
    [window setDelegate:nil];
    [window close];
    return answer == NSOKButton ? NSOKButton : NSCancelButton;
}

- (NSPanel *)newWindowForJudgement:(const sec::Judgement &)judgement message:(NSString *)message {
    NSView *view = NewTrustPanelView(judgement, message, kContentWidth);
    const CGFloat buttonRow = kMargin + kButtonHeight + kMargin;
    const NSRect content = NSMakeRect(0, 0, kContentWidth + 2 * kMargin, buttonRow + NSHeight([view frame]) + kMargin);
    NSPanel *window = [[LUMTrustPanelWindow alloc] initWithContentRect:content
                                                             styleMask:NSTitledWindowMask | NSClosableWindowMask
                                                               backing:NSBackingStoreBuffered
                                                                 defer:NO];
    [window setReleasedWhenClosed:NO];
    [window setTitle:TrustPanelText(@"Certificate")];
    [window setLevel:NSModalPanelWindowLevel];
    [window setDelegate:(id)self];
    [view setFrameOrigin:NSMakePoint(kMargin, buttonRow)];
    [[window contentView] addSubview:view];
    [view release];
    [self addButtonsTo:window];
    return window;
}

- (void)addButtonsTo:(NSPanel *)window {
    NSButton *ok = NewButton(TrustPanelText(@"OK"), @selector(accept:), self);
    NSString *refusal = TrustPanelText(myAlternateButtonTitle ? myAlternateButtonTitle : @"Cancel");
    NSButton *cancel = NewButton(refusal, @selector(refuse:), self);
    const CGFloat right = NSWidth([[window contentView] frame]) - kMargin;
    const CGFloat okLeft = right - NSWidth([ok frame]);
    [ok setFrameOrigin:NSMakePoint(okLeft, kMargin)];
    [cancel setFrameOrigin:NSMakePoint(okLeft - kButtonGap - NSWidth([cancel frame]), kMargin)];
    // What Return does without a look at the panel does no harm.
    [cancel setKeyEquivalent:@"\r"];
    [ok setNextKeyView:cancel];
    [cancel setNextKeyView:ok];
    [[window contentView] addSubview:cancel];
    [[window contentView] addSubview:ok];
    [window setDefaultButtonCell:[cancel cell]];
    [window setInitialFirstResponder:cancel];
    [ok release];
    [cancel release];
}

- (void)accept:(id)sender {
    (void)sender;
    [NSApp stopModalWithCode:NSOKButton];
}

- (void)refuse:(id)sender {
    (void)sender;
    [NSApp stopModalWithCode:NSCancelButton];
}

- (BOOL)windowShouldClose:(id)sender {
    (void)sender;
    [NSApp stopModalWithCode:NSCancelButton];
    return NO; // the modal loop closes it
}

@end
