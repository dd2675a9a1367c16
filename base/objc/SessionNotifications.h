// Notifications between the processes of a session, of which a program can do without. Objective-C++ only.
#pragma once

#import <Foundation/Foundation.h>

namespace base {

// Calls use(center) with the session's notification center. False when its daemon can be neither reached nor started:
// `use` was not called then, or left by an exception.
//
// Finding that out takes ten seconds. So it is found out once: no call of this process tries again, whichever library
// makes it. Main thread only.
template <class Use> bool WithSessionNotifications(Use &&use) {
    static NSString *const unreachable = @"SessionNotificationsUnreachable";
    NSMutableDictionary *process = [[NSThread mainThread] threadDictionary];
    if ([process objectForKey:unreachable]) {
        return false;
    }
    try {
        use([NSDistributedNotificationCenter defaultCenter]);
        return true;
    } catch (...) {
        [process setObject:[NSNull null] forKey:unreachable];
        return false;
    }
}

// Has `observer` called for each notification of this name, from any object. At once: macOS holds notifications back
// from a process in the background, which this one is as soon as the meeting is in front.
inline void HearAtOnce(NSDistributedNotificationCenter *session, id observer, SEL selector, NSString *name) {
    [session addObserver:observer
                  selector:selector
                      name:name
                    object:nil
        suspensionBehavior:NSNotificationSuspensionBehaviorDeliverImmediately];
}

} // namespace base
