// A meeting application as the extension expects it: it shows its window and then tells, with a distributed
// notification, which process it is and where the page should go next.
#import <AppKit/AppKit.h>

#include <string.h>
#include <unistd.h>

#import "DemoWindow.h"

static BOOL launchedByPage = NO;

@interface MeetingHall : NSObject {
    DemoWindow *_window;
}
@end

@implementation MeetingHall

- (void)applicationDidFinishLaunching:(NSNotification *)notification {
    _window = [[DemoWindow alloc] initWithTitle:@"Meeting Hall" headline:@"You are in the meeting" button:@"Leave"];
    NSString *origin = launchedByPage ? @"Launched by a page, behind its placeholder window." : @"Launched by a page.";
    [_window setLines:[NSString stringWithFormat:@"%@\nProcess %d.\n\nEscape or Leave ends the meeting.", origin,
                                                 (int)getpid()]];
    [_window show];
    [self performSelector:@selector(report) withObject:nil afterDelay:0.3];
}

// Without "kJumpURLKey" the page goes where it says itself.
- (void)report {
    NSDictionary *info = [NSDictionary dictionaryWithObject:[NSNumber numberWithInt:getpid()]
                                                     forKey:@"kKLVMeetingProcessIDKey"];
    [[NSDistributedNotificationCenter defaultCenter] postNotificationName:@"KLVMeetingLaunchedNotification"
                                                                   object:nil
                                                                 userInfo:info
                                                       deliverImmediately:YES];
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication *)application {
    return YES;
}

@end

int main(int argc, char **argv) {
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "-LaunchByLUM") == 0) {
            launchedByPage = YES;
        }
    }
    [DemoWindow prepareWithArguments:argv];
    [NSApplication sharedApplication];
    [NSApp setDelegate:(id)[MeetingHall new]];
    [NSApp run];
    [pool drain];
    return 0;
}
