#import "lum/lumext/LUMBridge.h"

#import "base/objc/SessionNotifications.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/lumext.h"
#include "lum/lumext/TraceLines.h"

@implementation LUMBridge

@synthesize jumpURL = myJumpURL;
@synthesize launchFlag = myLaunchFlag;

- (id)initWithReceiver:(CLumExtension *)receiver {
    self = [super init];
    if (self) {
        myReceiver = receiver;
        const bool observes = base::WithSessionNotifications([self](NSDistributedNotificationCenter *session) {
            base::HearAtOnce(session, self, @selector(meetingLaunced:), @"KLVMeetingLaunchedNotification");
        });
        if (!observes) { // a meeting can start without it
            MacErrorTrace("LUMBridge initWithReceiver, the session's notifications cannot be reached");
        }
    }
    return self;
}

- (void)dealloc {
    [[NSNotificationCenter defaultCenter] removeObserver:self];
    base::WithSessionNotifications([self](NSDistributedNotificationCenter *session) { [session removeObserver:self]; });
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
