// What the theme changes in the window library's own alerts: room around the text, which begins below the heading; no
// line and no picture of the Return key; and a close button that answers like the least committal button. (A window
// manager that offers to close an alert although the alert does not allow it would otherwise end the whole program.)
#import "LumTheme.h"

#include <math.h>
#import <objc/runtime.h>

static const CGFloat kAlertMargin = 12;  // more than the panel has by itself, on each side
static const CGFloat kBelowHeading = -8; // less between the heading and the text, where the panel has a line

typedef id (*InitWindow)(id, SEL, NSRect, NSUInteger, NSBackingStoreType, BOOL);

// A window's style cannot be changed later, so the panel is made closable from the start.
static id InitClosable(id self, SEL selector, NSRect rect, NSUInteger style, NSBackingStoreType backing, BOOL defer) {
    InitWindow inherited = (InitWindow)[NSPanel instanceMethodForSelector:selector];
    return inherited(self, selector, rect, style | NSClosableWindowMask, backing, defer);
}

static void SetContentSize(NSWindow *panel, NSSize size) {
    const NSSize outer =
        [NSWindow frameRectForContentRect:NSMakeRect(0, 0, size.width, size.height) styleMask:[panel styleMask]].size;
    [panel setMinSize:outer];
    [panel setMaxSize:outer];
    NSView *content = [panel contentView];
    [content setAutoresizesSubviews:NO];
    [panel setContentSize:size];
    [content setAutoresizesSubviews:YES];
}

// The panel's only labels are the heading and the text below it, which is elsewhere when it has to scroll.
static NSTextField *Label(NSWindow *panel, BOOL higher) {
    NSTextField *found = nil;
    for (NSView *view in [[panel contentView] subviews]) {
        if ([view isKindOfClass:[NSTextField class]] &&
            (!found || higher == (NSMinY([view frame]) > NSMinY([found frame])))) {
            found = (NSTextField *)view;
        }
    }
    return found;
}

static NSBox *LineBelowHeading(NSWindow *panel) {
    for (NSView *view in [[panel contentView] subviews]) {
        if ([view isKindOfClass:[NSBox class]]) {
            return (NSBox *)view;
        }
    }
    return nil;
}

// Makes room in the panel (factor 1), or takes the room back (factor -1).
static void MakeRoom(NSWindow *panel, CGFloat factor) {
    const CGFloat margin = factor * kAlertMargin;
    const CGFloat gap = factor * kBelowHeading;
    NSBox *line = LineBelowHeading(panel);
    const CGFloat heading = line ? NSMinY([line frame]) : HUGE_VAL;
    const NSSize size = [[panel contentView] frame].size;
    SetContentSize(panel, NSMakeSize(size.width + 2 * margin, size.height + 2 * margin + (line ? gap : 0)));
    for (NSView *view in [[panel contentView] subviews]) {
        const BOOL moves = NSMinY([view frame]) >= heading;
        [view setFrame:NSOffsetRect([view frame], margin, margin + (moves ? gap : 0))];
    }
    NSRect sideToSide = [line frame];
    sideToSide.origin.x -= margin;
    sideToSide.size.width += 2 * margin;
    [line setFrame:sideToSide];
}

static NSArray *ActionButtons(NSWindow *panel) {
    NSMutableArray *buttons = [NSMutableArray array];
    for (NSView *view in [[panel contentView] subviews]) {
        if ([view isKindOfClass:[NSButton class]] && [(NSButton *)view action] != NULL) {
            [buttons addObject:view];
        }
    }
    return buttons;
}

// Makes the panel wider by so much; the buttons stay at its right.
static void Widen(NSWindow *panel, CGFloat more) {
    const NSSize size = [[panel contentView] frame].size;
    SetContentSize(panel, NSMakeSize(size.width + more, size.height));
    for (NSView *view in ActionButtons(panel)) {
        [view setFrame:NSOffsetRect([view frame], more, 0)];
    }
}

// Puts the text below the heading's left edge instead of the panel's middle. The heading's tag keeps by how much the
// panel had to grow for that.
static void AlignText(NSWindow *panel) {
    NSTextField *heading = Label(panel, YES);
    NSTextField *text = Label(panel, NO);
    [heading setTag:0];
    if (!heading || heading == text) {
        return;
    }
    [text setFrameOrigin:NSMakePoint(NSMinX([heading frame]), NSMinY([text frame]))];
    const CGFloat missing = NSMaxX([text frame]) + 2 * kAlertMargin - NSWidth([[panel contentView] frame]);
    [heading setTag:MAX(0, (NSInteger)ceil(missing))];
    Widen(panel, (CGFloat)[heading tag]);
}
@implementation LumTheme (Alerts)

- (void)makeAlertsClosable {
    const SEL selector = @selector(initWithContentRect:styleMask:backing:defer:);
    Method inherited = class_getInstanceMethod([NSPanel class], selector);
    class_addMethod(NSClassFromString(@"GSAlertPanel"), selector, (IMP)InitClosable, method_getTypeEncoding(inherited));
}

- (void)undressAlert:(NSWindow *)panel {
    if ([panel delegate] == (id)self) {
        Widen(panel, -(CGFloat)[Label(panel, YES) tag]);
        MakeRoom(panel, -1);
        [panel setDelegate:nil];
    }
}

- (void)dressAlert:(NSWindow *)panel {
    for (NSButton *button in ActionButtons(panel)) {
        [button setImagePosition:NSNoImage];
    }
    MakeRoom(panel, 1);
    [LineBelowHeading(panel) setHidden:YES];
    AlignText(panel);
    [panel setDelegate:(id)self];
}

// The buttons are side by side with the default one at the right, so the leftmost is the least committal.
- (BOOL)windowShouldClose:(NSWindow *)panel {
    NSButton *leftmost = nil;
    for (NSButton *button in ActionButtons(panel)) {
        if (!leftmost || NSMinX([button frame]) < NSMinX([leftmost frame])) {
            leftmost = button;
        }
    }
    [leftmost performClick:nil];
    return NO;
}

@end
