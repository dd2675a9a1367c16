#import "fuzzywindow/PlaceholderView.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "fuzzywindow/TextPicture.h"

namespace {

constexpr std::uint32_t kBackground = 0x1B1F27;
constexpr std::uint32_t kText = 0xF3F4F6;
constexpr std::uint32_t kQuietText = 0xA9B1BD;
constexpr std::uint32_t kAccent = 0x3B7DDD;
constexpr std::uint32_t kTrack = 0x343B49;
constexpr std::uint32_t kLock = 0x5BD68A;

constexpr CGFloat kWidth = 560;
constexpr CGFloat kLeastHeight = 340;
constexpr CGFloat kMargin = 40;
constexpr CGFloat kTextWidth = kWidth - 2 * kMargin;
constexpr CGFloat kDisc = 72;
constexpr CGFloat kGap = 8;
constexpr CGFloat kBarHeight = 6;
constexpr CGFloat kPercentHeight = 30; // below the bar
// With a narrow space, which most languages want and no other misses.
constexpr const char *kPercentSign = "\u202F%";
constexpr NSTimeInterval kFrame = 1.0 / 24;
constexpr NSTimeInterval kLap = 1.6; // of the moving part, in seconds

struct Fit {
    double size;
    int lines;
};
// A long text takes a smaller size and more lines, and the window grows. The last size holds a topic of 400 letters of
// any script; only what is longer is cut.
constexpr Fit kTopicFits[] = {{22, 2}, {19, 3}, {16, 4}, {14, 7}, {13, 12}};
constexpr Fit kHostFits[] = {{15, 1}, {13, 4}, {12, 6}};
constexpr Fit kStatusFits[] = {{14, 2}, {12, 3}};

NSColor *Colour(std::uint32_t colour) {
    return [NSColor colorWithCalibratedRed:((colour >> 16) & 0xFF) / 255.0
                                     green:((colour >> 8) & 0xFF) / 255.0
                                      blue:(colour & 0xFF) / 255.0
                                     alpha:1];
}

// A drawn text and its place.
struct Label {
    NSImage *image = nil;
    NSSize size = {0, 0};
    NSRect frame = {{0, 0}, {0, 0}};

    Label() = default;
    ~Label() {
        [image release];
    }
    Label(const Label &) = delete;
    Label &operator=(const Label &) = delete;

    void Place(CGFloat centreX, CGFloat top) {
        frame = NSMakeRect(round(centreX - size.width / 2), round(top - size.height), size.width, size.height);
    }

    void Draw() const {
        [image drawInRect:frame fromRect:NSZeroRect operation:NSCompositeSourceOver fraction:1];
    }

    // False when the text had to be cut.
    bool Set(const std::string &text, const TextStyle &style, CGFloat width, CGFloat scale) {
        const TextPicture picture = DrawText(text, style, width, scale);
        [image release];
        image = nil;
        size = NSMakeSize(picture.width, picture.height);
        if (picture.pixels.empty()) {
            return true;
        }
        NSBitmapImageRep *bitmap = [[[NSBitmapImageRep alloc] initWithBitmapDataPlanes:nullptr
                                                                            pixelsWide:picture.pixelsWide
                                                                            pixelsHigh:picture.pixelsHigh
                                                                         bitsPerSample:8
                                                                       samplesPerPixel:4
                                                                              hasAlpha:YES
                                                                              isPlanar:NO
                                                                        colorSpaceName:NSCalibratedRGBColorSpace
                                                                           bytesPerRow:picture.pixelsWide * 4
                                                                          bitsPerPixel:32] autorelease];
        std::memcpy([bitmap bitmapData], picture.pixels.data(), picture.pixels.size());
        [bitmap setSize:size];
        image = [[NSImage alloc] initWithSize:size];
        [image addRepresentation:bitmap];
        return !picture.cut;
    }

    template <std::size_t count>
    void SetFitting(const std::string &text, TextStyle style, const Fit (&fits)[count], CGFloat scale) {
        for (const Fit &fit : fits) {
            style.size = fit.size;
            style.lines = fit.lines;
            if (Set(text, style, kTextWidth, scale)) {
                return;
            }
        }
    }
};

void FillBar(NSRect rect, std::uint32_t colour) {
    [Colour(colour) set];
    [[NSBezierPath bezierPathWithRoundedRect:rect xRadius:kBarHeight / 2 yRadius:kBarHeight / 2] fill];
}

// A padlock whose body's lower left corner is at `origin`.
void DrawLock(NSPoint origin) {
    [Colour(kLock) set];
    NSBezierPath *shackle = [NSBezierPath bezierPath];
    [shackle setLineWidth:2];
    [shackle moveToPoint:NSMakePoint(origin.x + 3.5, origin.y + 10)];
    [shackle lineToPoint:NSMakePoint(origin.x + 3.5, origin.y + 14)];
    [shackle appendBezierPathWithArcWithCenter:NSMakePoint(origin.x + 8, origin.y + 14)
                                        radius:4.5
                                    startAngle:180
                                      endAngle:0
                                     clockwise:YES];
    [shackle lineToPoint:NSMakePoint(origin.x + 12.5, origin.y + 10)];
    [shackle stroke];
    [[NSBezierPath bezierPathWithRoundedRect:NSMakeRect(origin.x, origin.y, 16, 11) xRadius:2 yRadius:2] fill];
}

} // namespace

struct PlaceholderPictures {
    Label initial;
    Label topic;
    Label host;
    Label preparing;
    Label connecting;
    Label percent;
    bool locked = false;
};

@interface LUMPlaceholderView (Private)
- (CGFloat)barBottom;
- (CGFloat)statusHeight;
- (CGFloat)statusTop;
- (CGFloat)whoAndWhatHeight;
- (CGFloat)neededHeight;
- (NSRect)discRect;
- (NSRect)barRect;
- (NSRect)changingRect;
- (void)placeTexts;
- (void)drawBar;
@end

@implementation LUMPlaceholderView

- (id)initWithTexts:(const PlaceholderTexts &)texts {
    self = [super initWithFrame:NSMakeRect(0, 0, kWidth, kLeastHeight)];
    if (!self) {
        return nil;
    }
    _percent = -1;
    _pictures = new PlaceholderPictures;
    _pictures->locked = texts.locked;
    const CGFloat scale = [[NSScreen mainScreen] backingScaleFactor];
    const std::string_view language = EastAsianLanguage(texts.preparing + texts.connecting + texts.hostLabel);
    const TextStyle loud{.bold = true, .colour = kText, .language = language};
    const TextStyle quiet{.colour = kQuietText, .language = language};
    const TextStyle status{.colour = kText, .language = language};
    TextStyle disc = loud;
    disc.size = 30;
    _pictures->initial.Set(Initial(texts.hostName.empty() ? texts.topic : texts.hostName), disc, kDisc, scale);
    _pictures->topic.SetFitting(texts.topic, loud, kTopicFits, scale);
    if (!texts.hostName.empty()) {
        _pictures->host.SetFitting(texts.hostLabel + Isolated(texts.hostName), quiet, kHostFits, scale);
    }
    _pictures->preparing.SetFitting(texts.preparing, status, kStatusFits, scale);
    _pictures->connecting.SetFitting(texts.connecting, status, kStatusFits, scale);
    [self setFrameSize:NSMakeSize(kWidth, std::max(kLeastHeight, [self neededHeight]))];
    [self placeTexts];
    return self;
}

- (void)dealloc {
    [self stopAnimation];
    delete _pictures;
    [super dealloc];
}

// --- The layout, from the bottom up ---

- (CGFloat)barBottom {
    return kPercentHeight + 14;
}

- (CGFloat)statusHeight {
    return std::max(_pictures->preparing.size.height, _pictures->connecting.size.height);
}

- (CGFloat)statusTop {
    return [self barBottom] + kBarHeight + kGap + [self statusHeight];
}

- (CGFloat)whoAndWhatHeight {
    return kDisc + 2 * kGap + _pictures->topic.size.height + kGap + _pictures->host.size.height;
}

- (NSRect)discRect {
    const CGFloat space = NSHeight([self bounds]) - [self statusTop];
    const CGFloat top = NSHeight([self bounds]) - floor((space - [self whoAndWhatHeight]) / 2);
    return NSMakeRect((NSWidth([self bounds]) - kDisc) / 2, top - kDisc, kDisc, kDisc);
}

- (void)placeTexts {
    const CGFloat centre = NSWidth([self bounds]) / 2;
    const NSRect disc = [self discRect];
    _pictures->initial.Place(centre, NSMidY(disc) + _pictures->initial.size.height / 2);
    _pictures->topic.Place(centre, NSMinY(disc) - 2 * kGap);
    _pictures->host.Place(centre, NSMinY(_pictures->topic.frame) - kGap);
    for (Label *status : {&_pictures->preparing, &_pictures->connecting}) {
        status->Place(centre, [self statusTop] - floor(([self statusHeight] - status->size.height) / 2));
    }
}

- (CGFloat)neededHeight {
    return [self statusTop] + [self whoAndWhatHeight] + 2 * kMargin;
}

- (NSRect)barRect {
    return NSMakeRect(kMargin, [self barBottom], NSWidth([self bounds]) - 2 * kMargin, kBarHeight);
}

// What changes while the window is shown: the status, the bar, the share.
- (NSRect)changingRect {
    return NSMakeRect(0, 0, NSWidth([self bounds]), ceil([self statusTop]) + 1);
}

// --- What is shown ---

- (void)setPercent:(int)percent {
    percent = std::min(percent, 100);
    if (_connecting || percent == _percent) {
        return;
    }
    _percent = percent;
    if (percent >= 0) {
        [self stopAnimation];
        const TextStyle style{.size = 12, .colour = kQuietText};
        _pictures->percent.Set(std::to_string(percent) + kPercentSign, style, kTextWidth,
                               [[NSScreen mainScreen] backingScaleFactor]);
        _pictures->percent.Place(NSWidth([self bounds]) / 2, [self barBottom] - kGap);
    }
    [self setNeedsDisplayInRect:[self changingRect]];
}

- (void)showConnecting {
    [self stopAnimation];
    _connecting = YES;
    [self setNeedsDisplayInRect:[self changingRect]];
}

- (void)viewDidMoveToWindow {
    [super viewDidMoveToWindow];
    if ([self window] && !_animation && _percent < 0 && !_connecting) {
        _animation = [[NSTimer timerWithTimeInterval:kFrame
                                              target:self
                                            selector:@selector(animate:)
                                            userInfo:nil
                                             repeats:YES] retain];
        for (NSString *mode : {NSDefaultRunLoopMode, NSModalPanelRunLoopMode, NSEventTrackingRunLoopMode}) {
            [[NSRunLoop currentRunLoop] addTimer:_animation forMode:mode];
        }
    }
}

- (void)stopAnimation {
    [_animation invalidate];
    [_animation release];
    _animation = nil;
}

- (void)animate:(NSTimer *)timer {
    (void)timer;
    [self setNeedsDisplayInRect:NSInsetRect([self barRect], -1, -1)];
}

// --- Drawing ---

- (BOOL)isOpaque {
    return YES;
}

- (void)drawRect:(NSRect)dirty {
    [Colour(kBackground) set];
    NSRectFill(dirty);
    [self drawBar];
    if (NSEqualRects(NSIntersectionRect(dirty, NSInsetRect([self barRect], -1, -1)), dirty)) {
        return; // one step of the animation
    }
    if (_pictures->initial.image) {
        [Colour(kAccent) set];
        [[NSBezierPath bezierPathWithOvalInRect:[self discRect]] fill];
    }
    for (const Label *label : {&_pictures->initial, &_pictures->topic, &_pictures->host}) {
        label->Draw();
    }
    (_connecting ? _pictures->connecting : _pictures->preparing).Draw();
    if (_percent >= 0 && !_connecting) {
        _pictures->percent.Draw();
    }
    if (_pictures->locked) {
        DrawLock(NSMakePoint(NSWidth([self bounds]) - 20 - 16, NSHeight([self bounds]) - 20 - 20));
    }
}

- (void)drawBar {
    const NSRect bar = [self barRect];
    FillBar(bar, kTrack);
    if (_connecting || _percent >= 0) {
        const int percent = _connecting ? 100 : _percent;
        if (percent > 0) {
            FillBar(
                NSMakeRect(NSMinX(bar), NSMinY(bar), std::max(kBarHeight, NSWidth(bar) * percent / 100), kBarHeight),
                kAccent);
        }
        return;
    }
    const CGFloat part = NSWidth(bar) / 4;
    const CGFloat lap = fmod([NSDate timeIntervalSinceReferenceDate], kLap) / kLap;
    const CGFloat left = NSMinX(bar) - part + lap * (NSWidth(bar) + part);
    FillBar(NSIntersectionRect(bar, NSMakeRect(left, NSMinY(bar), part, kBarHeight)), kAccent);
}

@end
