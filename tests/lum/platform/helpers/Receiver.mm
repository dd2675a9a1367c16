// An application that listens for Apple events: receiver [FILE [GATE]]. It writes each event that is for it to FILE,
// one a line; without FILE, to the file "events" beside its bundle (of X.app/Contents/MacOS/X). With GATE it begins to
// listen only when that file exists.
#import <Foundation/Foundation.h>

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>

#include "lum/platform/linux/appleevents/AppleEventNotification.h"

@interface Receiver : NSObject {
@public
    const char *path;
    NSMutableSet *seen;
}
- (void)handle:(NSNotification *)event;
@end

@implementation Receiver
- (void)handle:(NSNotification *)event {
    NSDictionary *info = [event userInfo];
    NSString *number = [info objectForKey:@LUM_APPLE_EVENT_NUMBER_KEY];
    if ([[info objectForKey:@LUM_APPLE_EVENT_PROCESS_ID_KEY] intValue] != getpid() || [seen containsObject:number]) {
        return;
    }
    [seen addObject:number];
    FILE *file = fopen(path, "a");
    fprintf(file, "%s", [[event name] UTF8String]);
    NSArray *list = [info objectForKey:@LUM_APPLE_EVENT_DIRECT_OBJECT_KEY];
    for (NSUInteger i = 0; i < [list count]; ++i) {
        fprintf(file, " [%s]", [[[list objectAtIndex:i] description] UTF8String]);
    }
    fprintf(file, "\n");
    fclose(file);
}
@end

static std::filesystem::path PathOfBundle() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path().parent_path();
}

int main(int argc, char **argv) {
    alarm(120);
    [NSAutoreleasePool new];
    while (argc > 2 && access(argv[2], F_OK) != 0) {
        usleep(10'000);
    }
    Receiver *receiver = [Receiver new];
    receiver->path = argc > 1 ? argv[1] : strdup((PathOfBundle().parent_path() / "events").c_str());
    receiver->seen = [NSMutableSet new];
    NSDistributedNotificationCenter *centre = [NSDistributedNotificationCenter defaultCenter];
    [centre addObserver:receiver selector:@selector(handle:) name:@"AppleEvent.kvvt.reol" object:nil];
    [centre addObserver:receiver selector:@selector(handle:) name:@"AppleEvent.kvvt.kvou" object:nil];
    [centre postNotificationName:@LUM_APPLE_EVENT_RECEIVER_READY
                          object:nil
                        userInfo:[NSDictionary dictionaryWithObject:[NSNumber numberWithInt:getpid()]
                                                             forKey:@LUM_APPLE_EVENT_PROCESS_ID_KEY]
              deliverImmediately:YES];
    fclose(fopen(receiver->path, "a")); // tells the test that it listens
    [[NSRunLoop currentRunLoop] run];
}
