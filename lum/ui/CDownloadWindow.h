// The progress window: how far the download is, how long it will take, and a button that stops it.
//
// Made, shown, fed and given up by the installation manager. Main thread only. The window is made from the interface
// file when it is first asked for, so the language must be set before that. Without a window server there must be no
// such object.
#pragma once

#include "lum/platform/ObjcForward.h"

LUM_FORWARD_CLASS(CDownloadWindow);

#ifdef __OBJC__
#import <AppKit/AppKit.h>

class LumInstallationMgr;

@interface CDownloadWindow : NSWindowController {
    IBOutlet NSProgressIndicator *myProgressBar;
    IBOutlet NSTextField *myStaticText;
    IBOutlet NSButton *myStopButton;
    NSString *myLanguageID;               // retained, or nil
    LumInstallationMgr *myInstallManager; // not owned, or null
}

// `manager` is told when the user stops the download. It must outlive the window's time on screen, and may give the
// object up while it is being told.
- (id)initWithInstallMgr:(LumInstallationMgr *)manager;

// The page's language identifier, UTF-8, copied. Null, or no UTF-8: English.
- (void)setLanguageID:(const char *)languageID;

// The time line, from whole minutes: anything below 2 shows as one minute.
- (void)setProgressTime:(int)minutes;
// The time line, as it is.
- (void)setProgressTimeText:(NSString *)text;

// nil leaves the title as it is.
- (void)setWindowTitle:(NSString *)title;

// The bar, in percent; above 100 shows as 100.
- (void)setProgressValue:(unsigned int)percent;

// The action of the Stop button, also on Escape and when the window is asked to close: cancels the download and takes
// the window off screen. Without a manager the window stays.
- (IBAction)onStop:(id)sender;

@end

// What the window asks of the manager: to cancel the download (LumInstallationMgr::Cancel). Defined beside the manager,
// so that this folder need not know the whole of it.
void CancelDownload(LumInstallationMgr &manager);
#endif
