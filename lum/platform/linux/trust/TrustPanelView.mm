#import "lum/platform/linux/trust/TrustPanelView.h"

#include <cmath>

#import <AppKit/AppKit.h>

#import "lum/platform/linux/bundles/Localization.h"
#import "lum/platform/linux/trust/Names.h"
#include "lum/platform/ObjcEach.h"
#include "lum/platform/Session.h"

// Its origin is at the top.
@interface LUMTrustPanelView : NSView
@end

@implementation LUMTrustPanelView

- (BOOL)isFlipped {
    return YES;
}

@end

namespace {

NSString *const kTable = @"CertificateTrustPanel_";

// The one that this code lies in.
NSBundle *Bundle() {
    return BundleWithIdentifierOrCode(nil, reinterpret_cast<const void *>(&TrustPanelText));
}

constexpr CGFloat kIconSize = 48;
constexpr CGFloat kGap = 16;    // between icon and text, text and certificate
constexpr CGFloat kLineGap = 8; // between paragraphs and between rows
constexpr CGFloat kColumnGap = 12;
constexpr CGFloat kMostNamesHeight = 240;

NSString *Reason(sec::Fault fault) {
    switch (fault) {
    case sec::Fault::Refused:
        return TrustPanelText(@"Your settings refuse this certificate or one that vouches for it.");
    case sec::Fault::NoAnchor:
        return TrustPanelText(@"Nobody whom this computer trusts vouches for this certificate.");
    case sec::Fault::Unsuitable:
        return TrustPanelText(
            @"This certificate or one that vouches for it is too weak or was issued against the rules.");
    case sec::Fault::NotValidYet:
        return TrustPanelText(@"This certificate or one that vouches for it is not valid yet.");
    case sec::Fault::Expired:
        return TrustPanelText(@"This certificate or one that vouches for it has expired.");
    case sec::Fault::None:
        break;
    }
    return TrustPanelText(@"Please confirm this certificate.");
}

NSString *Day(std::time_t time) {
    NSDate *date = [NSDate dateWithTimeIntervalSince1970:static_cast<NSTimeInterval>(time)];
    return [date descriptionWithCalendarFormat:@"%Y-%m-%d %H:%M"
                                      timeZone:nil
                                        locale:[[NSUserDefaults standardUserDefaults] dictionaryRepresentation]];
}

NSString *Validity(const sec::Certificate &certificate) {
    return [NSString
        stringWithFormat:TrustPanelText(@"from %@ to %@"), Day(certificate.NotBefore()), Day(certificate.NotAfter())];
}

NSString *Name(NSArray *parts) {
    return [parts count] ? [parts componentsJoinedByString:@"\n"] : TrustPanelText(@"(no name)");
}

// Two lines of 16 bytes.
NSString *Fingerprint(const sec::Certificate &certificate) {
    NSMutableString *text = [NSMutableString string];
    const auto digest = certificate.Sha256Fingerprint();
    for (std::size_t i = 0; i < digest.size(); ++i) {
        const char *separator = i == 0 ? "" : i % 16 == 0 ? "\n" : " ";
        [text appendFormat:@"%s%02X", separator, digest[i]];
    }
    return text;
}

NSTextField *NewLabel(NSString *text, NSFont *font) {
    NSTextField *label = [[NSTextField alloc] initWithFrame:NSZeroRect];
    [label setStringValue:text];
    [label setFont:font];
    [label setBezeled:NO];
    [label setDrawsBackground:NO];
    [label setEditable:NO];
    [label setSelectable:NO];
    [label sizeToFit];
    return label;
}

// A text that wraps, as high as it needs, and can be selected and copied.
NSTextView *NewText(NSString *text, NSFont *font, CGFloat width) {
    NSTextView *view = [[NSTextView alloc] initWithFrame:NSMakeRect(0, 0, width, 10)];
    [view setEditable:NO];
    [view setRichText:NO];
    [view setDrawsBackground:NO];
    [view setTextContainerInset:NSZeroSize];
    [[view textContainer] setLineFragmentPadding:0];
    [[view textContainer] setContainerSize:NSMakeSize(width, 1e7)];
    [[view textContainer] setWidthTracksTextView:YES];
    [view setFont:font];
    [view setString:text];
    [view setTextColor:[NSColor controlTextColor]];
    [[view layoutManager] glyphRangeForTextContainer:[view textContainer]];
    const CGFloat height = std::ceil(NSHeight([[view layoutManager] usedRectForTextContainer:[view textContainer]]));
    [view setFrame:NSMakeRect(0, 0, width, height)];
    return view;
}

void Place(NSView *view, NSView *parent, CGFloat x, CGFloat y) {
    [view setFrameOrigin:NSMakePoint(x, y)];
    [parent addSubview:view];
    [view release];
}

NSView *NewView(CGFloat width) {
    return [[LUMTrustPanelView alloc] initWithFrame:NSMakeRect(0, 0, width, 0)];
}

struct Row {
    NSString *title;
    NSString *value;
};

CGFloat WidthOfTitles(std::span<const Row> rows) {
    CGFloat width = 0;
    for (const Row &row : rows) {
        NSTextField *title = NewLabel(row.title, [NSFont boldSystemFontOfSize:0]);
        width = std::max(width, NSWidth([title frame]));
        [title release];
    }
    return width;
}

// The rows below each other, each value beside its title.
NSView *NewGrid(std::span<const Row> rows, CGFloat titleWidth, CGFloat width) {
    const CGFloat x = titleWidth + kColumnGap;
    NSView *grid = NewView(width);
    CGFloat y = 0;
    for (const Row &row : rows) {
        NSTextField *title = NewLabel(row.title, [NSFont boldSystemFontOfSize:0]);
        NSTextView *value = NewText(row.value, [NSFont systemFontOfSize:0], width - x);
        const CGFloat height = std::max(NSHeight([title frame]), NSHeight([value frame]));
        Place(title, grid, 0, y);
        Place(value, grid, x, y);
        y += height + kLineGap;
    }
    [grid setFrameSize:NSMakeSize(width, y - kLineGap)];
    return grid;
}

// Names are as long as whoever made the certificate likes.
NSView *NewScrollingGrid(std::span<const Row> rows, CGFloat titleWidth, CGFloat width) {
    NSView *grid = NewGrid(rows, titleWidth, width);
    if (NSHeight([grid frame]) <= kMostNamesHeight) {
        return grid;
    }
    [grid release];
    NSScrollView *scroll = [[NSScrollView alloc] initWithFrame:NSMakeRect(0, 0, width, kMostNamesHeight)];
    [scroll setHasVerticalScroller:YES];
    [scroll setDrawsBackground:NO];
    [scroll setBorderType:NSLineBorder];
    grid = NewGrid(rows, titleWidth, [scroll contentSize].width);
    [scroll setDocumentView:grid];
    [grid release];
    return scroll;
}

// What a person compares, the dates and the fingerprint, never scrolls away.
NSView *NewCertificateView(const sec::Certificate &certificate, CGFloat width) {
    const Row rows[] = {{TrustPanelText(@"Issued to"), Name(sec::SubjectForShowing(certificate))},
                        {TrustPanelText(@"Issued by"), Name(sec::IssuerForShowing(certificate))},
                        {TrustPanelText(@"Valid"), Validity(certificate)},
                        {TrustPanelText(@"SHA-256 fingerprint"), Fingerprint(certificate)}};
    const std::span<const Row> all = rows;
    const CGFloat titleWidth = WidthOfTitles(all);
    NSView *names = NewScrollingGrid(all.first(2), titleWidth, width);
    NSView *facts = NewGrid(all.last(2), titleWidth, width);
    const CGFloat factsTop = NSHeight([names frame]) + kLineGap;
    NSView *view = NewView(width);
    [view setFrameSize:NSMakeSize(width, factsTop + NSHeight([facts frame]))];
    Place(names, view, 0, 0);
    Place(facts, view, 0, factsTop);
    return view;
}

NSView *NewIcon() {
    NSImageView *icon = [[NSImageView alloc] initWithFrame:NSMakeRect(0, 0, kIconSize, kIconSize)];
    NSString *path = [Bundle() pathForResource:@"warninglogo" ofType:@"png"];
    NSImage *image = path ? [[[NSImage alloc] initWithContentsOfFile:path] autorelease] : nil;
    [icon setImage:image ? image : [NSImage imageNamed:@"NSCaution"]];
    [icon setImageScaling:NSImageScaleProportionallyUpOrDown];
    return icon;
}

// The paragraphs below each other, the first in bold.
NSView *NewParagraphs(std::span<NSString *const> paragraphs, CGFloat width) {
    NSView *view = NewView(width);
    CGFloat y = 0;
    for (NSString *paragraph : paragraphs) {
        NSFont *font = y == 0 ? [NSFont boldSystemFontOfSize:0] : [NSFont systemFontOfSize:0];
        NSTextView *text = NewText(paragraph, font, width);
        const CGFloat height = NSHeight([text frame]);
        Place(text, view, 0, y);
        y += height + kLineGap;
    }
    [view setFrameSize:NSMakeSize(width, y - kLineGap)];
    return view;
}

} // namespace

// The user's, not the page's: the panel is the system's.
NSString *TrustPanelLocalization() {
    NSMutableArray *localizations = [NSMutableArray array];
    for (NSString *path : Each<NSString *>([Bundle() pathsForResourcesOfType:@"strings" inDirectory:nil])) {
        NSString *name = [[path lastPathComponent] stringByDeletingPathExtension];
        if ([name hasPrefix:kTable]) {
            [localizations addObject:[name substringFromIndex:[kTable length]]];
        }
    }
    NSString *found = LocalizationOfEnvironment(localizations);
    return found ? found : @"English";
}

NSString *TrustPanelText(NSString *key) {
    NSString *table = [kTable stringByAppendingString:TrustPanelLocalization()];
    NSString *text = [Bundle() localizedStringForKey:key value:key table:table];
    return text ? text : key;
}

NSView *NewTrustPanelView(const sec::Judgement &judgement, NSString *message, CGFloat width) {
    NSString *const paragraphs[] = {
        message ? message : TrustPanelText(@"Do you trust the certificate of this site?"), Reason(judgement.fault),
        TrustPanelText(@"Software from this site can run on this computer if you continue. Continue only if the "
                       @"fingerprint below is the one that the site's owner told you.")};
    const CGFloat textLeft = kIconSize + kGap;
    NSView *text = NewParagraphs(paragraphs, width - textLeft);
    NSView *certificate = NewCertificateView(judgement.chain.front(), width);
    const CGFloat certificateTop = std::max(NSHeight([text frame]), kIconSize) + kGap;
    NSView *view = NewView(width);
    [view setFrameSize:NSMakeSize(width, certificateTop + NSHeight([certificate frame]))];
    Place(NewIcon(), view, 0, 0);
    Place(text, view, textLeft, 0);
    Place(certificate, view, 0, certificateTop);
    return view;
}
