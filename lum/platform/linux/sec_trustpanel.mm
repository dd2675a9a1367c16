#import <SecurityInterface/SFCertificateTrustPanel.h>

#include <algorithm>

#import <AppKit/AppKit.h>

#import "lum/platform/linux/sec_objects.h"
#import "lum/platform/linux/sec_trustpanelview.h"
#import "lum/platform/scopedpool.h"
#import "lum/platform/session.h"

namespace {

constexpr CGFloat kMargin = 20;
constexpr CGFloat kContentWidth = 520;
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
    [button setFrameSize:NSMakeSize(std::max(NSWidth([button frame]) + 2 * kButtonGap, kLeastButtonWidth), kButtonHeight)];
    return button;
}

bool IsEscape(NSEvent *event) {
    return [event type] == NSKeyDown && [[event characters] length] == 1 &&
           [[event characters] characterAtIndex:0] == kEscape;
}

} // namespace

// Escape refuses wherever the focus is.
@interface LUMTrustPanelWindow : NSPanel
@end

@implementation LUMTrustPanelWindow

- (void)sendEvent:(NSEvent *)event {
    if (IsEscape(event)) {
        [NSApp stopModalWithCode:NSCancelButton];
        return;
    }
    [super sendEvent:event];
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
    const ScopedPool pool;
    [NSApplication sharedApplication];
    NSPanel *window = [self newWindowForJudgement:*judgement message:message];
    [window center];
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
    [window setReleasedWhenClosed:YES];
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
    NSString *refusal = myAlternateButtonTitle ? myAlternateButtonTitle : TrustPanelText(@"Cancel");
    NSButton *cancel = NewButton(refusal, @selector(refuse:), self);
    const CGFloat right = NSWidth([[window contentView] frame]) - kMargin;
    const CGFloat okLeft = right - NSWidth([ok frame]);
    [ok setFrameOrigin:NSMakePoint(okLeft, kMargin)];
    [cancel setFrameOrigin:NSMakePoint(okLeft - kButtonGap - NSWidth([cancel frame]), kMargin)];
    [ok setKeyEquivalent:@"\r"];
    [ok setNextKeyView:cancel];
    [cancel setNextKeyView:ok];
    [[window contentView] addSubview:cancel];
    [[window contentView] addSubview:ok];
    [window setDefaultButtonCell:[ok cell]];
    [window setInitialFirstResponder:ok];
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
