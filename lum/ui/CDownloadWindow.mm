#import "lum/ui/CDownloadWindow.h"

#include <algorithm>

#import "base/objc/ScopedPool.h"
#include "lum/common/FormatCheck.h"
#include "lum/common/lumutil.h"
#include "lum/platform/InterfaceFile.h"
#include "lum/platform/Session.h"

namespace {

NSString *const kInterfaceFile = @"progressWindow";
constexpr unsigned int kWholeBar = 100;
constexpr NSInteger kPercentTag = 1; // of the interface file

NSString *Localized(NSString *languageID, NSString *english) {
    return LocalizedText(ExtensionBundle(), [languageID UTF8String], english);
}

NSString *MinutesFormat(NSString *languageID) {
    NSString *english = @"Time remaining: about %d minutes";
    NSString *translated = Localized(languageID, english);
    return TakesSameArguments([translated UTF8String], [english UTF8String]) ? translated : english;
}

} // namespace

// Has the keyboard until the user moves it on. The window would otherwise give it to the button, and a space that was
// meant for another window would stop the download.
@interface LUMKeyboardRest : NSView
@end

@implementation LUMKeyboardRest
- (BOOL)acceptsFirstResponder {
    return YES;
}
@end

@implementation CDownloadWindow

- (id)initWithInstallMgr:(LumInstallationMgr *)manager {
    self = [super initWithWindowNibName:kInterfaceFile];
    if (self) {
        [myProgressBar setMaxValue:kWholeBar]; // not loaded yet as a rule; the interface file says the same
        myInstallManager = manager;
    }
    return self;
}

- (void)dealloc {
    MacInfoTrace("[CDownloadWindow dealloc],Begin");
    if ([self isWindowLoaded]) {
        [[self window] setDelegate:nil]; // events may keep the window a little longer
    }
    myInstallManager = nullptr;
    [myLanguageID release];
    [super dealloc];
    MacInfoTrace("[CDownloadWindow dealloc],End");
}

// The extension's bundle, which the inherited search does not know when the host opened the code by its path alone.
- (NSString *)windowNibPath {
    NSBundle *bundle = ExtensionBundle();
    NSString *path = [bundle pathForResource:kInterfaceFile ofType:@"nib"];
    if (!path) {
        path = [bundle pathForResource:kInterfaceFile ofType:@"xib"];
    }
    return path ? path : [super windowNibPath];
}

- (void)loadWindow {
    if (!MakeDescribedInterface(ExtensionBundle(), kInterfaceFile, self)) {
        [super loadWindow];
    }
}

- (void)windowDidLoad {
    [super windowDidLoad];
    PreferFontsForLocalization(localizedExtNameFromLanguageID([myLanguageID UTF8String]).c_str());
    [myStopButton setTitle:Localized(myLanguageID, @"Stop")];
    [self setProgressTime:1];
    [myStaticText setHidden:NO];
    [myStopButton setHidden:NO];
    [myProgressBar setDisplayedWhenStopped:YES]; // GNUstep reads the file's absence of "no" as "no"
    LUMKeyboardRest *rest = [[[LUMKeyboardRest alloc] initWithFrame:NSMakeRect(0, 0, 1, 1)] autorelease];
    [[[self window] contentView] addSubview:rest];
    [rest setNextKeyView:myStopButton];
    [[self window] setInitialFirstResponder:rest];
    const NSSize size = [[self window] frame].size; // one size only, so that nothing offers to zoom
    [[self window] setMinSize:size];
    [[self window] setMaxSize:size];
}

- (void)setLanguageID:(const char *)languageID {
    [myLanguageID release];
    myLanguageID = languageID ? [[NSString alloc] initWithUTF8String:languageID] : nil;
}

- (void)setProgressTime:(int)minutes {
    const base::ScopedPool pool;
    NSString *text = minutes < 2 ? Localized(myLanguageID, @"Time remaining: about 1 minute")
                                 : [NSString stringWithFormat:MinutesFormat(myLanguageID), minutes];
    [self setProgressTimeText:text];
}

// Not with a mnemonic, which would swallow an ampersand.
- (void)setProgressTimeText:(NSString *)text {
    if (![[myStaticText stringValue] isEqualToString:text]) { // each report of progress brings it, and few change it
        [myStaticText setStringValue:text];
    }
}

- (void)setWindowTitle:(NSString *)title {
    const base::ScopedPool pool;
    if (title) {
        [[self window] setTitle:title];
    }
}

- (void)setProgressValue:(unsigned int)percent {
    const base::ScopedPool pool;
    const unsigned int shown = std::min(percent, kWholeBar);
    [myProgressBar setDoubleValue:shown];
    // With a narrow space, which most languages want and no other misses.
    NSString *text = [NSString stringWithFormat:@"%u\u202F%%", shown];
    [[[[self window] contentView] viewWithTag:kPercentTag] setStringValue:text];
}

- (IBAction)onStop:(id)sender {
    MacInfoTrace("[CDownloadWindow onStop],Begin");
    [[self retain] autorelease]; // the manager gives this object up while it cancels
    if (myInstallManager) {
        MacInfoTrace("Cancel current download by user");
        CancelDownload(*myInstallManager);
        [[self window] orderOut:sender];
    } else {
        MacErrorTrace("- (IBAction) onStop:(id)sender, no installMgr");
    }
    MacInfoTrace("[CDownloadWindow onStop],End");
}

// The window is never closed under its owner: the title bar's button stops the download like Stop does.
- (BOOL)windowShouldClose:(id)sender {
    [self onStop:sender];
    return NO;
}

- (BOOL)acceptsFirstResponder {
    return YES;
}

@end
