// An application with windows: windows -Titles TITLE,TITLE... opens one for each title, upon one another; an empty
// title gives a window without one. (The toolkit takes plain arguments for documents to open.)
#import <AppKit/AppKit.h>

#include <unistd.h>

int main() {
    alarm(120);
    [NSAutoreleasePool new];
    [NSApplication sharedApplication];
    NSArray *titles = [[[NSUserDefaults standardUserDefaults] stringForKey:@"Titles"] componentsSeparatedByString:@","];
    for (NSUInteger i = 0; i < [titles count]; ++i) {
        const auto place = static_cast<CGFloat>(50 * i);
        NSWindow *window = [[NSWindow alloc] initWithContentRect:NSMakeRect(place, place, 200, 100)
                                                       styleMask:NSTitledWindowMask
                                                         backing:NSBackingStoreBuffered
                                                           defer:NO];
        [window setTitle:[titles objectAtIndex:i]];
        [window orderFrontRegardless];
    }
    [NSApp run];
}
