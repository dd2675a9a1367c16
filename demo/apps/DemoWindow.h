// What the sample applications have in common: one window with a headline, some lines and a button that ends it.
#import <AppKit/AppKit.h>

@interface DemoWindow : NSObject {
    NSWindow *_window;
    NSTextField *_headline;
    NSTextField *_lines;
}

// Hides the command line from the window library and takes the theme that lies in the application's Resources. Called
// first in main().
+ (void)prepareWithArguments:(char **)argv;

// The button's action ends the application, and so does Escape.
- (id)initWithTitle:(NSString *)title headline:(NSString *)text button:(NSString *)button;
- (void)setLines:(NSString *)text;
- (void)show;

@end
