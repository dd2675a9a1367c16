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

// The colours by meaning. Text on its ground keeps a contrast of at least 4.5 to 1.
enum {
    kGround = 0xf6f7f9,
    kPaper = 0xffffff,
    kLine = 0xb8bfc9,
    kPressed = 0xdfe4ea,
    kTrack = 0xdde2e9,
    kThumb = 0xa9b2be,
    kAccent = 0x2563eb,
    kAccentPressed = 0x1d4ed8,
    kSelection = 0xc7dafc,
    kInk = 0x1f2328,
    kFaintInk = 0x6b7280,
};

// The window library's names for them.
static const struct {
    const char *name;
    unsigned int rgb;
} systemColors[] = {
    {"alternateSelectedControlColor", kAccent},
    {"alternateSelectedControlTextColor", kPaper},
    {"controlBackgroundColor", kGround},
    {"controlColor", kGround},
    {"controlDarkShadowColor", kLine},
    {"controlLightHighlightColor", kPaper},
    {"controlShadowColor", kLine},
    {"controlTextColor", kInk},
    {"disabledControlTextColor", kFaintInk},
    {"gridColor", kLine},
    {"headerTextColor", kInk},
    {"highlightColor", kPaper},
    {"keyboardFocusIndicatorColor", kAccent},
    {"knobColor", kThumb},
    {"labelColor", kInk},
    {"scrollBarColor", kTrack},
    {"selectedControlColor", kSelection},
    {"selectedControlTextColor", kInk},
    {"selectedKnobColor", kAccent},
    {"selectedMenuItemColor", kAccent},
    {"selectedMenuItemTextColor", kPaper},
    {"selectedTextBackgroundColor", kSelection},
    {"selectedTextColor", kInk},
    {"shadowColor", kLine},
    {"textBackgroundColor", kPaper},
    {"textColor", kInk},
    {"windowBackgroundColor", kGround},
    {"windowFrameTextColor", kInk},
};

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
        NSMutableAttributedString *light =
            [[[NSMutableAttributedString alloc] initWithAttributedString:title] autorelease];
        [light addAttribute:NSForegroundColorAttributeName value:Rgb(kPaper) range:NSMakeRange(0, [light length])];
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
    return method && implementation ? method_setImplementation(method, implementation) : NULL;
}

@implementation LumTheme

- (void)activate {
    [super activate];
    [self preferDesktopFonts];
    [self makeAlertsClosable];
    if (!originalDrawTitle) {
        originalDrawTitle =
            (DrawTitle)Replace(@"NSButtonCell", @selector(drawTitle:withFrame:inView:), (IMP)DrawButtonTitle);
        originalSizeToFit = (SizeToFit)Replace(@"GSAlertPanel", @selector(sizePanelToFit), (IMP)SizeAlertToFit);
    }
}

- (void)deactivate {
    Replace(@"NSButtonCell", @selector(drawTitle:withFrame:inView:), (IMP)originalDrawTitle);
    Replace(@"GSAlertPanel", @selector(sizePanelToFit), (IMP)originalSizeToFit);
    originalDrawTitle = NULL;
    originalSizeToFit = NULL;
    [super deactivate];
}

- (void)dealloc {
    [_lumColors release];
    [super dealloc];
}

// --- Colours ---

- (NSColorList *)colors {
    if (!_lumColors) {
        _lumColors = [[NSColorList alloc] initWithName:@"System" fromFile:nil];
        for (size_t i = 0; i < sizeof systemColors / sizeof *systemColors; ++i) {
            [_lumColors setColor:Rgb(systemColors[i].rgb) forKey:[NSString stringWithUTF8String:systemColors[i].name]];
        }
    }
    return _lumColors;
}

- (void)drawWindowBackground:(NSRect)frame view:(NSView *)view {
    [Rgb(kGround) set];
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
        NSColor *fill = IsPressed(state) ? Rgb(kAccentPressed) : Rgb(kAccent);
        DrawPlate(frame, kCornerRadius, fill, fill);
        return;
    }
    DrawPlate(frame, kCornerRadius,
              IsPressed(state) ? Rgb(kPressed)
              : enabled        ? Rgb(kPaper)
                               : Rgb(kGround),
              Rgb(kLine));
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
    NSColor *color = [Rgb(kAccent) colorWithAlphaComponent:0.65];
    NSRect around = frame;
    if ([view isKindOfClass:[NSButton class]]) {
        around = [view bounds];
        if (IsDefaultButton([(NSButton *)view cell], view)) { // has the accent's colour itself
            color = Rgb(kPaper);
            around = NSInsetRect(around, kFocusRingWidth, kFocusRingWidth);
        }
    }
    NSBezierPath *ring = Rounded(NSInsetRect(around, kFocusRingWidth / 2, kFocusRingWidth / 2), kCornerRadius);
    [ring setLineWidth:kFocusRingWidth];
    [color set];
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
    [Rgb(kTrack) set];
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
        [Rgb(kAccent) set];
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
        [Rgb(kLine) set];
        NSFrameRect(frame);
    }
}

- (NSSize)sizeForBorderType:(NSBorderType)type {
    return type == NSNoBorder ? NSZeroSize : type == NSBezelBorder ? NSMakeSize(2, 2) : NSMakeSize(1, 1);
}

- (NSRect)drawWhiteBezel:(NSRect)border withClip:(NSRect)clip {
    DrawPlate(border, 3, Rgb(kPaper), Rgb(kLine));
    return NSInsetRect(border, 2, 2);
}

- (NSRect)drawGrayBezel:(NSRect)border withClip:(NSRect)clip {
    DrawPlate(border, 3, Rgb(kGround), Rgb(kLine));
    return NSInsetRect(border, 2, 2);
}

- (NSRect)drawButton:(NSRect)border withClip:(NSRect)clip {
    DrawPlate(border, 3, Rgb(kPaper), Rgb(kLine));
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
    [Rgb(kLine) set];
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
    [Rgb(kGround) set];
    NSRectFill(rect);
    const NSRect knob = [scroller rectForPart:NSScrollerKnob];
    if (NSIsEmptyRect(knob)) {
        return;
    }
    [(hitPart == NSScrollerKnob ? Rgb(kAccent) : Rgb(kThumb)) set];
    [Rounded(NSInsetRect(knob, 3, 3), kScrollerWidth) fill];
}

@end
