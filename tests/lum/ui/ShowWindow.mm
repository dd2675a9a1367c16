// Shows one of the extension's windows in a language until it is ended, for looking at it:
//   lum_show_window THEME|- progress|alert LANGUAGE-ID
#include <cstdio>
#include <string_view>

#import <AppKit/AppKit.h>

#import "base/objc/ScopedPool.h"
#include "lum/lumext/MeetingAlert.h"
#import "lum/ui/CDownloadWindow.h"
#include "theme/UseTheme.h"

namespace {

void ShowProgress(const char *languageId) {
    CDownloadWindow *controller = [[CDownloadWindow alloc] initWithInstallMgr:nullptr];
    [controller setLanguageID:languageId];
    [[controller window] center];
    [[controller window] makeKeyAndOrderFront:nil];
    [controller setWindowTitle:@"Kelvo Meetings"];
    [controller setProgressValue:42];
    [controller setProgressTime:12];
    [NSApp run];
}

} // namespace

int main(int argc, char **argv) {
    HideArguments(argv);
    const base::ScopedPool pool;
    if (argc != 4) {
        std::fputs("usage: lum_show_window THEME|- progress|alert LANGUAGE-ID\n", stderr);
        return 2;
    }
    const std::string_view theme = argv[1];
    UseTheme(theme == "-" ? nullptr : argv[1]);
    [NSBundle bundleWithPath:@TEST_BUNDLE]; // found by its identifier from now on
    [NSApplication sharedApplication];
    const std::string_view window = argv[2];
    window == "alert" ? static_cast<void>(ShowTooManyMeetingsAlert(argv[3])) : ShowProgress(argv[3]);
    return 0;
}
