// What the sources for macOS use of its Foundation and AppKit and GNUstep's lack. They are checked against this where
// macOS's headers are not there.
#pragma once

#import <AppKit/AppKit.h>

typedef struct {
    NSInteger majorVersion, minorVersion, patchVersion;
} NSOperatingSystemVersion;

@interface NSProcessInfo (BeyondGNUstep)
- (BOOL)isOperatingSystemAtLeastVersion:(NSOperatingSystemVersion)version;
@end

@interface NSTextContainer (BeyondGNUstep)
- (void)setMaximumNumberOfLines:(NSUInteger)lines;
- (void)setLineBreakMode:(NSLineBreakMode)mode;
@end

@interface NSLayoutManager (BeyondGNUstep)
- (NSRange)truncatedGlyphRangeInLineFragmentForGlyphAtIndex:(NSUInteger)glyph;
@end

extern "C" {
void CGContextScaleCTM(CGContextRef context, CGFloat x, CGFloat y);
void CGContextTranslateCTM(CGContextRef context, CGFloat x, CGFloat y);
}
#define NSProgressIndicatorStyleBar NSProgressIndicatorBarStyle
