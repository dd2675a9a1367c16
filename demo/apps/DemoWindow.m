#import "DemoWindow.h"

#include <limits.h>
#include <unistd.h>

#include "lum/platform/linux/windows/UseTheme.h"

static const CGFloat kWidth = 520;
static const CGFloat kHeight = 300;
static const CGFloat kMargin = 28;

@interface DemoPane : NSView
@end

@implementation DemoPane

- (BOOL)isOpaque {
    return YES;
}

- (void)drawRect:(NSRect)rect {
    [[NSColor whiteColor] set];
    NSRectFill(rect);
    [[NSColor colorWithCalibratedRed:0.13 green:0.42 blue:0.74 alpha:1] set];
    NSRectFill(NSMakeRect(0, NSMaxY([self bounds]) - 6, NSWidth([self bounds]), 6));
}

@end

static NSTextField *Label(NSRect frame, CGFloat size, CGFloat gray) {
    NSTextField *label = [[[NSTextField alloc] initWithFrame:frame] autorelease];
    [label setEditable:NO];
    [label setSelectable:NO];
    [label setBezeled:NO];
    [label setBordered:NO];
    [label setDrawsBackground:NO];
    [label setFont:[NSFont systemFontOfSize:size]];
    [label setTextColor:[NSColor colorWithCalibratedWhite:gray alpha:1]];
    return label;
}

@implementation DemoWindow

+ (void)prepareWithArguments:(char **)argv {
    HideArguments(argv);
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length <= 0) {
        return;
    }
    path[length] = '\0';
    NSString *contents =
        [[[NSString stringWithUTF8String:path] stringByDeletingLastPathComponent] stringByDeletingLastPathComponent];
    UseTheme([[contents stringByAppendingPathComponent:@"Resources/Lum.theme"] UTF8String]);
}

- (id)initWithTitle:(NSString *)title headline:(NSString *)text button:(NSString *)button {
    self = [super init];
    if (!self) {
        return nil;
    }
    _window = [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, kWidth, kHeight)
                                          styleMask:NSTitledWindowMask | NSClosableWindowMask
                                            backing:NSBackingStoreBuffered
                                              defer:NO];
    [_window setTitle:title];
    [_window setDelegate:(id)self];
    DemoPane *pane = [[[DemoPane alloc] initWithFrame:NSMakeRect(0, 0, kWidth, kHeight)] autorelease];
    [_window setContentView:pane];

    _headline = Label(NSMakeRect(kMargin, kHeight - 88, kWidth - 2 * kMargin, 36), 24, 0.1);
    [_headline setStringValue:text];
    [pane addSubview:_headline];
    _lines = Label(NSMakeRect(kMargin, 80, kWidth - 2 * kMargin, kHeight - 180), 13, 0.35);
    [[_lines cell] setWraps:YES];
    [pane addSubview:_lines];

    NSButton *leave = [[[NSButton alloc] initWithFrame:NSMakeRect(kWidth - kMargin - 120, 24, 120, 32)] autorelease];
    [leave setTitle:button];
    [leave setBezelStyle:NSRoundedBezelStyle];
    [leave setKeyEquivalent:@"\033"];
    [leave setTarget:NSApp];
    [leave setAction:@selector(terminate:)];
    [pane addSubview:leave];
    [_window center];
    return self;
}

- (void)dealloc {
    [_window release];
    [super dealloc];
}

- (void)setLines:(NSString *)text {
    [_lines setStringValue:text];
}

- (void)show {
    [_window makeKeyAndOrderFront:nil];
    [NSApp activateIgnoringOtherApps:YES];
}

- (void)windowWillClose:(NSNotification *)notification {
    [NSApp terminate:nil];
}

@end
