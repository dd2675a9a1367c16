#import "LumTheme.h"

#import <objc/runtime.h>

static const CGFloat kCornerRadius = 5;
static const CGFloat kFocusRingWidth = 2;
static const CGFloat kBarThickness = 8;
static const CGFloat kScrollerWidth = 12;

static NSColor *Rgb(unsigned int rgb) {
    return [NSColor colorWithCalibratedRed:((rgb >> 16) & 0xff) / 255.0
                                     green:((rgb >> 8) & 0xff) / 255.0
                                      blue:(rgb & 0xff) / 255.0
                                     alpha:1];
}

// The colours that drawing below uses by meaning. Text on its ground keeps a contrast of at least 4.5 to 1.
static NSColor *Ground(void) { return Rgb(0xf6f7f9); }
static NSColor *Paper(void) { return Rgb(0xffffff); }
static NSColor *Line(void) { return Rgb(0xb8bfc9); }
static NSColor *Pressed(void) { return Rgb(0xdfe4ea); }
static NSColor *Track(void) { return Rgb(0xdde2e9); }
static NSColor *Thumb(void) { return Rgb(0xa9b2be); }
static NSColor *Accent(void) { return Rgb(0x2563eb); }
static NSColor *AccentPressed(void) { return Rgb(0x1d4ed8); }
static NSColor *Ink(void) { return Rgb(0x1f2328); }
static NSColor *FaintInk(void) { return Rgb(0x6b7280); }

static NSBezierPath *Rounded(NSRect rect, CGFloat radius) {
    const CGFloat limit = MIN(NSWidth(rect), NSHeight(rect)) / 2;
    const CGFloat fitting = MIN(radius, limit);
    return [NSBezierPath bezierPathWithRoundedRect:rect xRadius:fitting yRadius:fitting];
}

// A filled shape with a line of one pixel that lies inside the rectangle.
static void DrawPlate(NSRect rect, CGFloat radius, NSColor *fill, NSColor *line) {
    NSBezierPath *path = Rounded(NSInsetRect(rect, 0.5, 0.5), radius);
    [fill set];
    [path fill];
    [line set];
    [path setLineWidth:1];
    [path stroke];
}

static BOOL IsDefaultButton(NSCell *cell, NSView *view) {
    if ([[view window] defaultButtonCell] == cell) {
        return YES;
    }
    return [cell isKindOfClass:[NSButtonCell class]] && [[(NSButtonCell *)cell keyEquivalent] isEqualToString:@"\r"];
}

static BOOL IsPressed(GSThemeControlState state) {
    return state == GSThemeHighlightedState || state == GSThemeHighlightedFirstResponderState;
}

// The theme interface has no say in the colour of a button's title or in the layout of alerts, so two methods of the
// window library are wrapped while the theme is active.
typedef NSRect (*DrawTitle)(id, SEL, NSAttributedString *, NSRect, NSView *);
typedef void (*SizeToFit)(id, SEL);
static DrawTitle originalDrawTitle;
static SizeToFit originalSizeToFit;

static NSRect DrawButtonTitle(id self, SEL selector, NSAttributedString *title, NSRect frame, NSView *view) {
    NSButtonCell *cell = self;
    if ([cell isBordered] && [cell isEnabled] && IsDefaultButton(cell, view)) {
        NSMutableAttributedString *light = [[[NSMutableAttributedString alloc] initWithAttributedString:title] autorelease];
        [light addAttribute:NSForegroundColorAttributeName value:Paper() range:NSMakeRange(0, [light length])];
        title = light;
    }
    return originalDrawTitle(self, selector, title, frame, view);
}

static void SizeAlertToFit(id self, SEL selector) {
    LumTheme *theme = (LumTheme *)[GSTheme theme];
    [theme undressAlert:self];
    originalSizeToFit(self, selector);
    [theme dressAlert:self];
}

// The implementation that was there before, or NULL when there is no such method.
static IMP Replace(NSString *className, SEL selector, IMP implementation) {
    Method method = class_getInstanceMethod(NSClassFromString(className), selector);
    return method ? method_setImplementation(method, implementation) : NULL;
}

static void Restore(NSString *className, SEL selector, IMP original) {
    if (original) {
        Replace(className, selector, original);
    }
}

@implementation LumTheme

- (void)activate {
    [super activate];
    [self preferDesktopFonts];
    [self makeAlertsClosable];
    originalDrawTitle = (DrawTitle)Replace(@"NSButtonCell", @selector(drawTitle:withFrame:inView:), (IMP)DrawButtonTitle);
    originalSizeToFit = (SizeToFit)Replace(@"GSAlertPanel", @selector(sizePanelToFit), (IMP)SizeAlertToFit);
}

- (void)deactivate {
    Restore(@"NSButtonCell", @selector(drawTitle:withFrame:inView:), (IMP)originalDrawTitle);
    Restore(@"GSAlertPanel", @selector(sizePanelToFit), (IMP)originalSizeToFit);
    [super deactivate];
}

- (void)dealloc {
    [lumColors release];
    [super dealloc];
}

// --- Colours ---

- (NSColorList *)colors {
    if (!lumColors) {
        lumColors = [[NSColorList alloc] initWithName:@"System" fromFile:nil];
        NSDictionary *colors = [NSDictionary dictionaryWithObjectsAndKeys:
            Ground(), @"windowBackgroundColor", Ground(), @"controlColor", Ground(), @"controlBackgroundColor",
            Paper(), @"textBackgroundColor", Paper(), @"controlLightHighlightColor", Paper(), @"highlightColor",
            Line(), @"controlShadowColor", Line(), @"controlDarkShadowColor", Line(), @"gridColor", Line(), @"shadowColor",
            Track(), @"scrollBarColor", Thumb(), @"knobColor", Accent(), @"selectedKnobColor",
            Accent(), @"keyboardFocusIndicatorColor",
            Ink(), @"controlTextColor", Ink(), @"textColor", Ink(), @"labelColor", Ink(), @"headerTextColor",
            Ink(), @"windowFrameTextColor", FaintInk(), @"disabledControlTextColor",
            Rgb(0xc7dafc), @"selectedTextBackgroundColor", Ink(), @"selectedTextColor",
            Rgb(0xc7dafc), @"selectedControlColor", Ink(), @"selectedControlTextColor",
            Accent(), @"selectedMenuItemColor", Paper(), @"selectedMenuItemTextColor",
            Accent(), @"alternateSelectedControlColor", Paper(), @"alternateSelectedControlTextColor", nil];
        for (NSString *key in colors) {
            [lumColors setColor:[colors objectForKey:key] forKey:key];
        }
    }
    return lumColors;
}

- (void)drawWindowBackground:(NSRect)frame view:(NSView *)view {
    [Ground() set];
    NSRectFill(frame);
}

// --- Buttons ---

- (void)drawButton:(NSRect)frame
                in:(NSCell *)cell
              view:(NSView *)view
             style:(int)style
             state:(GSThemeControlState)state {
    const BOOL enabled = [cell isEnabled] && state != GSThemeDisabledState;
    if (enabled && IsDefaultButton(cell, view)) {
        NSColor *fill = IsPressed(state) ? AccentPressed() : Accent();
        DrawPlate(frame, kCornerRadius, fill, fill);
        return;
    }
    DrawPlate(frame, kCornerRadius, IsPressed(state) ? Pressed() : enabled ? Paper() : Ground(), Line());
}

- (GSThemeMargins)buttonMarginsForCell:(NSCell *)cell style:(int)style state:(GSThemeControlState)state {
    const GSThemeMargins margins = {12, 12, 5, 5};
    return margins;
}

// No picture of the Return key: the default button's colour says what Return does.
- (void)setKeyEquivalent:(NSString *)key forButtonCell:(NSButtonCell *)cell {
}

- (void)didSetDefaultButtonCell:(NSButtonCell *)cell {
}

- (void)drawFocusFrame:(NSRect)frame view:(NSView *)view {
    const NSRect whole = [view isKindOfClass:[NSButton class]] ? [view bounds] : frame;
    NSBezierPath *ring = Rounded(NSInsetRect(whole, kFocusRingWidth / 2, kFocusRingWidth / 2), kCornerRadius);
    [ring setLineWidth:kFocusRingWidth];
    [[Accent() colorWithAlphaComponent:0.65] set];
    [ring stroke];
}

// --- Progress bars ---

- (void)drawProgressIndicator:(NSProgressIndicator *)progress
                   withBounds:(NSRect)bounds
                     withClip:(NSRect)clip
                      atCount:(int)count
                     forValue:(double)value {
    if ([progress style] == NSProgressIndicatorSpinningStyle || [progress isVertical]) {
        [super drawProgressIndicator:progress withBounds:bounds withClip:clip atCount:count forValue:value];
        return;
    }
    const CGFloat thickness = MIN(kBarThickness, NSHeight(bounds));
    const NSRect track = NSMakeRect(NSMinX(bounds), NSMidY(bounds) - thickness / 2, NSWidth(bounds), thickness);
    [Track() set];
    [Rounded(track, thickness / 2) fill];

    NSRect bar = track;
    if ([progress isIndeterminate]) {
        bar.size.width = NSWidth(track) / 4;
        bar.origin.x += (NSWidth(track) - NSWidth(bar)) * (count % 20) / 19.0;
    } else {
        bar.size.width = NSWidth(track) * MAX(0.0, MIN(1.0, value));
        if (NSWidth(bar) > 0) {
            bar.size.width = MAX(NSWidth(bar), thickness); // a round end needs its own width
        }
    }
    if (NSWidth(bar) > 0) {
        [Accent() set];
        [Rounded(bar, thickness / 2) fill];
    }
}

// --- Borders ---

- (void)drawBorderType:(NSBorderType)type frame:(NSRect)frame view:(NSView *)view {
    switch (type) {
        case NSNoBorder:
            return;
        case NSBezelBorder:
            [self drawWhiteBezel:frame withClip:frame];
            return;
        default:
            [Line() set];
            NSFrameRect(frame);
    }
}

- (NSSize)sizeForBorderType:(NSBorderType)type {
    return type == NSNoBorder ? NSZeroSize : type == NSBezelBorder ? NSMakeSize(2, 2) : NSMakeSize(1, 1);
}

- (NSRect)drawWhiteBezel:(NSRect)border withClip:(NSRect)clip {
    DrawPlate(border, 3, Paper(), Line());
    return NSInsetRect(border, 2, 2);
}

- (NSRect)drawGrayBezel:(NSRect)border withClip:(NSRect)clip {
    DrawPlate(border, 3, Ground(), Line());
    return NSInsetRect(border, 2, 2);
}

- (NSRect)drawButton:(NSRect)border withClip:(NSRect)clip {
    DrawPlate(border, 3, Paper(), Line());
    return NSInsetRect(border, 2, 2);
}

- (NSRect)drawDarkButton:(NSRect)border withClip:(NSRect)clip {
    return [self drawButton:border withClip:clip];
}

- (NSRect)drawDarkBezel:(NSRect)border withClip:(NSRect)clip {
    return [self drawGrayBezel:border withClip:clip];
}

- (NSRect)drawLightBezel:(NSRect)border withClip:(NSRect)clip {
    return [self drawGrayBezel:border withClip:clip];
}

- (NSRect)drawGroove:(NSRect)border withClip:(NSRect)clip {
    [Line() set];
    NSFrameRect(border);
    return NSInsetRect(border, 2, 2);
}

// --- Scrollers ---

- (float)defaultScrollerWidth {
    return kScrollerWidth;
}

- (BOOL)scrollViewUseBottomCorner {
    return NO;
}

- (void)drawScrollerRect:(NSRect)rect
                  inView:(NSView *)view
                 hitPart:(NSScrollerPart)hitPart
            isHorizontal:(BOOL)isHorizontal {
    NSScroller *scroller = (NSScroller *)view;
    [Ground() set];
    NSRectFill(rect);
    const NSRect knob = [scroller rectForPart:NSScrollerKnob];
    if (NSIsEmptyRect(knob)) {
        return;
    }
    [(hitPart == NSScrollerKnob ? Accent() : Thumb()) set];
    [Rounded(NSInsetRect(knob, 3, 3), kScrollerWidth) fill];
}

@end
