#import <Foundation/Foundation.h>

#include <Carbon/Carbon.h>

#include <string>

#include "lum/platform/linux/appleevents/AppleEventNotification.h"
#include "lum/platform/linux/appleevents/AeContent.h"
#include "lum/platform/linux/processes/SerialNumber.h"
#include "lum/platform/ObjcEach.h"
#import "base/objc/ScopedPool.h"
#import "base/objc/SessionNotifications.h"

// The events that were sent to processes that are still running, by process id. Posts those of a process again when
// that says that it listens from now on.
@interface LUMSentAppleEvents : NSObject {
    NSMutableDictionary *_sent; // process id -> array of { name, user info }
}
+ (LUMSentAppleEvents *)sharedEvents;
- (void)post:(NSString *)name userInfo:(NSDictionary *)info;
@end

namespace {

NSString *const kProcessIDKey = @LUM_APPLE_EVENT_PROCESS_ID_KEY;
NSString *const kNameKey = @"name";
NSString *const kInfoKey = @"info";

void Post(NSString *name, NSDictionary *info) {
    [[NSDistributedNotificationCenter defaultCenter] postNotificationName:name
                                                                   object:nil
                                                                 userInfo:info
                                                       deliverImmediately:YES];
}

} // namespace

@implementation LUMSentAppleEvents

+ (LUMSentAppleEvents *)sharedEvents {
    static LUMSentAppleEvents *shared = nil;
    if (!shared) {
        shared = [LUMSentAppleEvents new];
    }
    return shared;
}

- (id)init {
    self = [super init];
    if (self) {
        _sent = [NSMutableDictionary new];
        base::HearAtOnce([NSDistributedNotificationCenter defaultCenter], self, @selector(receiverReady:),
                         @LUM_APPLE_EVENT_RECEIVER_READY);
    }
    return self;
}

- (void)forgetEndedProcesses {
    for (NSNumber *pid : Each<NSNumber *>([_sent allKeys])) {
        if (!FindRunningProcess([pid intValue])) {
            [_sent removeObjectForKey:pid];
        }
    }
}

- (void)post:(NSString *)name userInfo:(NSDictionary *)info {
    [self forgetEndedProcesses];
    NSNumber *pid = [info objectForKey:kProcessIDKey];
    NSArray *before = [_sent objectForKey:pid];
    NSDictionary *event = [NSDictionary dictionaryWithObjectsAndKeys:name, kNameKey, info, kInfoKey, nil];
    [_sent setObject:[(before ? before : [NSArray array]) arrayByAddingObject:event] forKey:pid];
    Post(name, info);
}

- (void)receiverReady:(NSNotification *)notification {
    NSNumber *pid = [[notification userInfo] objectForKey:kProcessIDKey];
    if (![pid isKindOfClass:[NSNumber class]]) {
        return;
    }
    NSArray *events = [[[_sent objectForKey:pid] retain] autorelease];
    [_sent removeObjectForKey:pid];
    for (NSDictionary *event : Each<NSDictionary *>(events)) {
        Post([event objectForKey:kNameKey], [event objectForKey:kInfoKey]);
    }
}

@end

namespace {

std::string FourLetters(FourCharCode code) {
    return {static_cast<char>(code >> 24), static_cast<char>(code >> 16), static_cast<char>(code >> 8),
            static_cast<char>(code)};
}

NSString *NotificationName(const AEContent &event) {
    return [NSString stringWithFormat:@LUM_APPLE_EVENT_NAME_FORMAT, FourLetters(event.eventClass).c_str(),
                                      FourLetters(event.eventID).c_str()];
}

// nil for a type that cannot be sent.
id PropertyList(const AEContent &content) {
    switch (content.type) {
    case typeBoolean:
        return [NSNumber numberWithBool:content.bytes.find_first_not_of('\0') != std::string::npos];
    case typeUTF8Text:
        return [[[NSString alloc] initWithBytes:content.bytes.data()
                                         length:content.bytes.size()
                                       encoding:NSUTF8StringEncoding] autorelease];
    case typeAEList: {
        NSMutableArray *list = [NSMutableArray array];
        for (const AEContent &item : content.items) {
            id value = PropertyList(item);
            if (!value) {
                return nil;
            }
            [list addObject:value];
        }
        return list;
    }
    default:
        return nil;
    }
}

OSErr AddDirectObject(const AEContent &event, NSMutableDictionary *info) {
    const auto direct = event.parameters.find(keyDirectObject);
    if (direct == event.parameters.end()) {
        return noErr;
    }
    id value = PropertyList(direct->second);
    if (!value) {
        return errAECoercionFail;
    }
    [info setObject:value forKey:@LUM_APPLE_EVENT_DIRECT_OBJECT_KEY];
    return noErr;
}

OSErr Send(const AEContent &event) {
    const auto process = FindRunningProcess(event.target);
    if (!process) {
        return procNotFound;
    }
    NSMutableDictionary *info = [NSMutableDictionary dictionary];
    [info setObject:[NSNumber numberWithInt:process->pid] forKey:kProcessIDKey];
    [info setObject:[[NSProcessInfo processInfo] globallyUniqueString] forKey:@LUM_APPLE_EVENT_NUMBER_KEY];
    const OSErr error = AddDirectObject(event, info);
    if (error != noErr) {
        return error;
    }
    [[LUMSentAppleEvents sharedEvents] post:NotificationName(event) userInfo:info];
    return noErr;
}

} // namespace

OSErr AESend(const AppleEvent *theAppleEvent, AppleEvent *reply, AESendMode sendMode, AESendPriority, SInt32, AEIdleUPP,
             AEFilterUPP) {
    if (reply) {
        *reply = {typeNull, nullptr};
    }
    const AEContent *event = ContentOf(theAppleEvent, typeAppleEvent);
    if (!event) {
        return errAENotAEDesc;
    }
    if (sendMode != kAENoReply) {
        return paramErr;
    }
    const base::ScopedPool pool;
    OSErr result = connectionInvalid;
    base::WithSessionNotifications([&](NSDistributedNotificationCenter *) { result = Send(*event); });
    return result;
}
