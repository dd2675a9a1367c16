// What the theme changes in the window library's own alerts: room around the text, no picture of the Return key, and a
// close button that answers like the least committal button. (A window manager that offers to close an alert although
// the alert does not allow it would otherwise end the whole program.)
#import "LumTheme.h"

#import <objc/runtime.h>

static const CGFloat kAlertMargin = 12;

typedef id (*InitWindow)(id, SEL, NSRect, NSUInteger, NSBackingStoreType, BOOL);

// A window's style cannot be changed later, so the panel is made closable from the start.
static id InitClosable(id self, SEL selector, NSRect rect, NSUInteger style, NSBackingStoreType backing, BOOL defer) {
    InitWindow inherited = (InitWindow)[NSPanel instanceMethodForSelector:selector];
    return inherited(self, selector, rect, style | NSClosableWindowMask, backing, defer);
}

// Grows the panel by `margin` on each side (shrinks it when negative) and keeps what it holds in the middle.
static void ChangeMargins(NSWindow *panel, CGFloat margin) {
    NSView *content = [panel contentView];
    const NSSize size = NSMakeSize(NSWidth([content frame]) + 2 * margin, NSHeight([content frame]) + 2 * margin);
    const NSSize outer =
        [NSWindow frameRectForContentRect:NSMakeRect(0, 0, size.width, size.height) styleMask:[panel styleMask]].size;
    [panel setMinSize:outer];
    [panel setMaxSize:outer];
    [content setAutoresizesSubviews:NO];
    [panel setContentSize:size];
    [content setAutoresizesSubviews:YES];
    for (NSView *view in [content subviews]) {
        NSRect place = NSOffsetRect([view frame], margin, margin);
        if ([view isKindOfClass:[NSBox class]]) { // the separating line goes from side to side
            place.origin.x -= margin;
            place.size.width += 2 * margin;
        }
        [view setFrame:place];
    }
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

@implementation LumTheme (Alerts)

- (void)makeAlertsClosable {
    const SEL selector = @selector(initWithContentRect:styleMask:backing:defer:);
    Method inherited = class_getInstanceMethod([NSPanel class], selector);
    class_addMethod(NSClassFromString(@"GSAlertPanel"), selector, (IMP)InitClosable, method_getTypeEncoding(inherited));
}

- (void)undressAlert:(NSWindow *)panel {
    if ([panel delegate] == (id)self) {
        ChangeMargins(panel, -kAlertMargin);
        [panel setDelegate:nil];
    }
}

- (void)dressAlert:(NSWindow *)panel {
    for (NSButton *button in ActionButtons(panel)) {
        [button setImagePosition:NSNoImage];
    }
    ChangeMargins(panel, kAlertMargin);
    [panel setDelegate:(id)self];
}

// The buttons stand side by side with the default one at the right, so the leftmost is the least committal.
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
