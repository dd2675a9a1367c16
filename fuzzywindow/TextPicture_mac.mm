// With AppKit's text engine, which finds fonts and sets scripts of both directions by itself.
#include "fuzzywindow/TextPicture.h"

#include <cmath>

#import <AppKit/AppKit.h>

#import "base/objc/ScopedPool.h"

namespace {

constexpr CGFloat kTallest = 100000; // no text is as tall

NSString *Text(std::string_view text) {
    return [NSString stringWithUTF8String:OneParagraph(text).c_str()];
}

CGFloat Part(std::uint32_t colour, int shift) {
    return ((colour >> shift) & 0xFF) / 255.0;
}

NSDictionary *Attributes(const TextStyle &style) {
    NSMutableParagraphStyle *paragraph = [[NSMutableParagraphStyle new] autorelease];
    [paragraph setAlignment:NSTextAlignmentCenter];
    NSMutableDictionary *attributes = [NSMutableDictionary dictionary];
    NSFont *font = style.bold ? [NSFont boldSystemFontOfSize:style.size] : [NSFont systemFontOfSize:style.size];
    [attributes setObject:font forKey:NSFontAttributeName];
    [attributes setObject:paragraph forKey:NSParagraphStyleAttributeName];
    [attributes setObject:[NSColor colorWithCalibratedRed:Part(style.colour, 16)
                                                    green:Part(style.colour, 8)
                                                     blue:Part(style.colour, 0)
                                                    alpha:1]
                   forKey:NSForegroundColorAttributeName];
    if (!style.language.empty()) { // Core Text's kCTLanguageAttributeName
        [attributes setObject:Text(style.language) forKey:@"NSLanguage"];
    }
    return attributes;
}

// The text laid out in `width` points, and what of it is to be drawn.
class Layout {
public:
    Layout(NSString *text, const TextStyle &style, double width)
        : m_storage([[NSTextStorage alloc] initWithString:text attributes:Attributes(style)]),
          m_manager([NSLayoutManager new]) {
        NSTextContainer *container =
            [[[NSTextContainer alloc] initWithContainerSize:NSMakeSize(width, kTallest)] autorelease];
        [container setLineFragmentPadding:0];
        [container setMaximumNumberOfLines:static_cast<NSUInteger>(style.lines)];
        [container setLineBreakMode:NSLineBreakByTruncatingTail]; // of the last line
        [m_manager addTextContainer:container];
        [m_storage addLayoutManager:m_manager];
        m_glyphs = [m_manager glyphRangeForTextContainer:container];
        m_place = NSIntegralRect([m_manager usedRectForTextContainer:container]);
    }
    ~Layout() {
        [m_manager release];
        [m_storage release];
    }
    Layout(const Layout &) = delete;
    Layout &operator=(const Layout &) = delete;

    NSSize Size() const {
        return m_place.size;
    }

    bool IsCut() const {
        if (m_glyphs.length == 0) {
            return false;
        }
        const NSRange shown = [m_manager characterRangeForGlyphRange:m_glyphs actualGlyphRange:nullptr];
        const NSRange left = [m_manager truncatedGlyphRangeInLineFragmentForGlyphAtIndex:NSMaxRange(m_glyphs) - 1];
        return NSMaxRange(shown) < [m_storage length] || left.location != NSNotFound;
    }

    // With the upper left corner at the origin of the current context, which must be flipped.
    void Draw() const {
        [m_manager drawGlyphsForGlyphRange:m_glyphs atPoint:NSMakePoint(-NSMinX(m_place), -NSMinY(m_place))];
    }

private:
    NSTextStorage *m_storage;
    NSLayoutManager *m_manager;
    NSRange m_glyphs;
    NSRect m_place;
};

// A context that draws into the picture's pixels, with the origin at the top.
NSGraphicsContext *FlippedContext(TextPicture &picture, double scale) {
    unsigned char *planes[] = {picture.pixels.data()};
    NSBitmapImageRep *bitmap = [[[NSBitmapImageRep alloc] initWithBitmapDataPlanes:planes
                                                                        pixelsWide:picture.pixelsWide
                                                                        pixelsHigh:picture.pixelsHigh
                                                                     bitsPerSample:8
                                                                   samplesPerPixel:4
                                                                          hasAlpha:YES
                                                                          isPlanar:NO
                                                                    colorSpaceName:NSCalibratedRGBColorSpace
                                                                       bytesPerRow:picture.pixelsWide * 4
                                                                      bitsPerPixel:32] autorelease];
    CGContextRef drawing = [[NSGraphicsContext graphicsContextWithBitmapImageRep:bitmap] CGContext];
    CGContextTranslateCTM(drawing, 0, picture.pixelsHigh);
    CGContextScaleCTM(drawing, scale, -scale);
    return [NSGraphicsContext graphicsContextWithCGContext:drawing flipped:YES];
}

} // namespace

TextPicture DrawText(std::string_view text, const TextStyle &style, double width, double scale) {
    const base::ScopedPool pool;
    NSString *paragraph = Text(text);
    if ([paragraph length] == 0) {
        return {};
    }
    const Layout layout(paragraph, style, width);
    TextPicture picture;
    picture.width = layout.Size().width;
    picture.height = layout.Size().height;
    picture.cut = layout.IsCut();
    picture.pixelsWide = static_cast<int>(std::ceil(picture.width * scale));
    picture.pixelsHigh = static_cast<int>(std::ceil(picture.height * scale));
    picture.pixels.resize(static_cast<std::size_t>(picture.pixelsWide) * static_cast<std::size_t>(picture.pixelsHigh) *
                          4);
    if (picture.pixels.empty()) {
        return {};
    }
    [NSGraphicsContext saveGraphicsState];
    [NSGraphicsContext setCurrentContext:FlippedContext(picture, scale)];
    layout.Draw();
    [[NSGraphicsContext currentContext] flushGraphics];
    [NSGraphicsContext restoreGraphicsState];
    return picture;
}

std::string Initial(std::string_view text) {
    const base::ScopedPool pool;
    NSString *characters = Text(text);
    const NSRange letter = [characters rangeOfCharacterFromSet:[NSCharacterSet alphanumericCharacterSet]];
    return letter.location == NSNotFound ? "" : [[[characters substringWithRange:letter] uppercaseString] UTF8String];
}
