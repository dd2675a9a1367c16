// The look of the project's own programs: flat controls on a light ground, one accent colour, a visible focus ring.
// Loaded by the window library as a theme bundle (README.md tells how).
#import <AppKit/AppKit.h>
#import <GNUstepGUI/GSTheme.h>

@interface LumTheme : GSTheme {
    NSColorList *_lumColors;
}
@end

// The window library's own alerts (LumThemeAlerts.m).
@interface LumTheme (Alerts)
// Holds for alerts made afterwards, also when the theme is no longer active.
- (void)makeAlertsClosable;
// Around each layout of an alert: before it, what the last one was given is taken back.
- (void)undressAlert:(NSWindow *)panel;
- (void)dressAlert:(NSWindow *)panel;
@end

// Fonts for every script (LumThemeFonts.mm).
@interface LumTheme (Fonts)
- (void)preferDesktopFonts;
@end
