// The progress window that macOS makes of the description alone is the one that AppKit makes here.
#include <gtest/gtest.h>

#include <sstream>

#include "lum/platform/ObjcEach.h"
#include "tests/lum/ui/Windows.h"
#include "tests/support/LumFixture.h"

#import "lum/ui/CDownloadWindow.h"

// lum/platform/mac/InterfaceFile.mm, under a name that this system's own does not have.
bool MakeDescribedInterfaceOnMac(NSBundle *bundle, NSString *name, NSWindowController *owner);

@interface DescribedWindow : CDownloadWindow
@end

@implementation DescribedWindow
- (void)loadWindow {
    EXPECT_TRUE(MakeDescribedInterfaceOnMac([NSBundle bundleWithPath:@TEST_BUNDLE], @"progressWindow", self));
    [self windowDidLoad]; // as the method that this replaces does here, and its caller on macOS
}
@end

namespace {

std::string Describe(NSView *view) {
    std::ostringstream text;
    text << [[view className] UTF8String] << " " << [NSStringFromRect([view frame]) UTF8String] << " "
         << [view autoresizingMask] << ([view isHidden] ? " hidden " : " ");
    if ([view isKindOfClass:[NSProgressIndicator class]]) {
        auto *bar = static_cast<NSProgressIndicator *>(view);
        text << [bar minValue] << " " << [bar maxValue] << " " << +[bar isIndeterminate];
    } else if ([view isKindOfClass:[NSControl class]]) {
        auto *control = static_cast<NSControl *>(view);
        text << [[control stringValue] UTF8String] << " " << [[control font] pointSize] << " "
             << ([control action] ? sel_getName([control action]) : "nothing")
             << ([control target] ? " for someone " : " ") << [control tag] << " " << [control alignment] << " ";
    }
    if ([view isKindOfClass:[NSTextField class]]) {
        auto *field = static_cast<NSTextField *>(view);
        text << +[field isEditable] << +[field isSelectable] << +[field isBezeled] << +[field drawsBackground] << " "
             << [[field cell] lineBreakMode];
    } else if ([view isKindOfClass:[NSButton class]]) {
        auto *button = static_cast<NSButton *>(view);
        text << [[button title] UTF8String] << " " << +[[button keyEquivalent] characterAtIndex:0] << " "
             << [[button cell] bezelStyle];
    }
    EXPECT_TRUE(text.good()) << "a null text, and nothing after it: " << text.str();
    return text.str();
}

// Everything of the window that a person or the controller can tell.
std::string Describe(CDownloadWindow *controller) {
    NSWindow *window = [controller window];
    std::ostringstream text;
    text << [[window title] UTF8String] << " " << [window styleMask] << " " << +[window isReleasedWhenClosed] << " "
         << [NSStringFromSize([[window contentView] frame].size) UTF8String] << ([window isVisible] ? " shown" : "")
         << ([window delegate] == static_cast<id>(controller) ? " delegate" : "") << "\n";
    for (NSView *view : Each<NSView *>([[window contentView] subviews])) {
        text << Describe(view) << (view == [window initialFirstResponder] ? " first" : "") << "\n";
    }
    for (const char *outlet : {"myProgressBar", "myStaticText", "myStopButton"}) {
        id view = [controller valueForKey:[NSString stringWithUTF8String:outlet]];
        text << outlet << " " << (view ? [[view className] UTF8String] : "nothing") << "\n";
    }
    return text.str();
}

} // namespace

TEST(DescribedWindow, IsTheOneOfTheInterfaceFile) {
    StartWindows();
    CDownloadWindow *loaded = [[CDownloadWindow alloc] initWithInstallMgr:nullptr];
    CDownloadWindow *described = [[DescribedWindow alloc] initWithInstallMgr:nullptr];
    EXPECT_EQ(Describe(described), Describe(loaded));
    [[described window] setDelegate:nil];
    [described release];
    [loaded release];
}
