#include "host/verbs/NotificationCheck.h"

#include <unistd.h>

#import <Foundation/Foundation.h>

@interface LUMHostEcho : NSObject {
@public
    bool arrived;
}
- (void)arrive:(NSNotification *)notification;
@end

@implementation LUMHostEcho
- (void)arrive:(NSNotification *)notification {
    (void)notification;
    arrived = true;
}
@end

namespace lumhost {

namespace {

bool PostAndWait(LUMHostEcho *echo, std::chrono::milliseconds longest) {
    NSString *name = [NSString stringWithFormat:@"LUMHostEcho.%d", static_cast<int>(getpid())];
    NSDistributedNotificationCenter *session = [NSDistributedNotificationCenter defaultCenter];
    [session addObserver:echo selector:@selector(arrive:) name:name object:nil];
    [session postNotificationName:name object:nil userInfo:nil deliverImmediately:YES];
    NSDate *end = [NSDate dateWithTimeIntervalSinceNow:std::chrono::duration<double>(longest).count()];
    while (!echo->arrived && [end timeIntervalSinceNow] > 0) {
        [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.05]];
    }
    [session removeObserver:echo];
    return echo->arrived;
}

} // namespace

bool NotificationsArrive(std::chrono::milliseconds longest) {
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    LUMHostEcho *echo = [[LUMHostEcho new] autorelease];
    bool arrived = false;
    try {
        arrived = PostAndWait(echo, longest);
    } catch (...) { // no daemon, and none can be started
    }
    [pool drain];
    return arrived;
}

} // namespace lumhost
