#import "lum/lumext/LUMBridge.h"

#include "lum/common/lumutil.h"
#include "lum/lumext/lumext.h"
#include "lum/lumext/TraceLines.h"
#include "lum/platform/Session.h"

namespace {

void Observe(void *bridge) {
    // At once: with the meeting in front, this process is one in the background, for which macOS holds them back.
    [[NSDistributedNotificationCenter defaultCenter] addObserver:static_cast<id>(bridge)
                                                        selector:@selector(meetingLaunced:)
                                                            name:@"KLVMeetingLaunchedNotification"
                                                          object:nil
                                              suspensionBehavior:NSNotificationSuspensionBehaviorDeliverImmediately];
}

void StopObserving(void *bridge) {
    [[NSDistributedNotificationCenter defaultCenter] removeObserver:static_cast<id>(bridge)];
}

} // namespace

@implementation LUMBridge

@synthesize jumpURL = myJumpURL;
@synthesize launchFlag = myLaunchFlag;

- (id)initWithReceiver:(CLumExtension *)receiver {
    self = [super init];
    if (self) {
        myReceiver = receiver;
        // Throws where the notification daemon cannot be reached; a meeting can start without it.
        if (NSException *exception = CatchObjCException(Observe, self)) {
            MacErrorTrace("LUMBridge initWithReceiver, %s", [[exception reason] UTF8String]);
        }
    }
    return self;
}

- (void)dealloc {
    [[NSNotificationCenter defaultCenter] removeObserver:self];
    if (NSException *exception = CatchObjCException(StopObserving, self)) {
        MacErrorTrace("LUMBridge dealloc, %s", [[exception reason] UTF8String]);
    }
    [self setJumpURL:nil];
    [super dealloc];
}

- (void)meetingLaunced:(NSNotification *)notification {
    if (!notification || !myReceiver) {
        return;
    }
    NSDictionary *info = [notification userInfo];
    id processId = [info objectForKey:@"kKLVMeetingProcessIDKey"];
    if (![processId isKindOfClass:[NSNumber class]] || [processId intValue] != myReceiver->m_nMainComponentPid) {
        return;
    }
    [self setLaunchFlag:YES];
    id url = [info objectForKey:@"kJumpURLKey"];
    [self setJumpURL:[url isKindOfClass:[NSString class]] ? url : nil];
    MacInfoTrace(LUM_TRACE_JOINED, [processId intValue]);
}

@end
