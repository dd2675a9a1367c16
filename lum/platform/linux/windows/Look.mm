#include "lum/platform/Session.h"

#import <AppKit/AppKit.h>

#include "lum/platform/linux/windows/UseTheme.h"

void UseLookOfBundle(NSBundle *bundle) {
    if (NSApp) {
        return;
    }
    const bool isChosen = [[NSUserDefaults standardUserDefaults] stringForKey:@"GSTheme"] != nil;
    UseTheme(isChosen ? nullptr : [[bundle pathForResource:@"Lum" ofType:@"theme"] fileSystemRepresentation]);
}
