#import "LumTheme.h"

#include "lum/platform/Session.h"

@implementation LumTheme (Fonts)

// In the order that suits the user's own language, until a window asks for another.
- (void)preferDesktopFonts {
    PreferFontsForLocalization(nullptr);
}

@end
