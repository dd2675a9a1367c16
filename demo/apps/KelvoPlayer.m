// A recording player: shows the address that the extension sends it with the event "kvvt"/"kvou".
#import <AppKit/AppKit.h>

#include <unistd.h>

#import "DemoWindow.h"

@interface KelvoPlayer : NSObject {
    DemoWindow *_window;
    NSMutableSet *_seen; // numbers of events: the same one may come twice
}
@end

@implementation KelvoPlayer

- (void)applicationDidFinishLaunching:(NSNotification *)notification {
    _seen = [NSMutableSet new];
    _window = [[DemoWindow alloc] initWithTitle:@"Kelvo Player" headline:@"Recording" button:@"Close"];
    [_window setLines:@"Waiting for the address of a recording..."];
    [_window show];
    NSDistributedNotificationCenter *center = [NSDistributedNotificationCenter defaultCenter];
    [center addObserver:self selector:@selector(open:) name:@"AppleEvent.kvvt.kvou" object:nil];
    NSNumber *own = [NSNumber numberWithInt:getpid()];
    [center postNotificationName:@"AppleEventReceiverReady"
                          object:nil
                        userInfo:[NSDictionary dictionaryWithObject:own forKey:@"AppleEventProcessID"]
              deliverImmediately:YES];
}

- (void)open:(NSNotification *)notification {
    NSDictionary *info = [notification userInfo];
    if ([[info objectForKey:@"AppleEventProcessID"] intValue] != getpid()) {
        return;
    }
    id number = [info objectForKey:@"AppleEventNumber"];
    if (number && [_seen containsObject:number]) {
        return;
    }
    if (number) {
        [_seen addObject:number];
    }
    id direct = [info objectForKey:@"AppleEventDirectObject"];
    NSString *address = [direct isKindOfClass:[NSArray class]] && [direct count] ? [direct objectAtIndex:0] : direct;
    [_window setLines:[NSString stringWithFormat:@"Playing %@", address]];
}

@end

int main(int argc, char **argv) {
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    (void)argc;
    [DemoWindow prepareWithArguments:argv];
    [NSApplication sharedApplication];
    [NSApp setDelegate:(id)[KelvoPlayer new]];
    [NSApp run];
    [pool drain];
    return 0;
}
