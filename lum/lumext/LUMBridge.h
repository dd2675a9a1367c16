// Hears from the launched meeting application that it has started and where the page should go next.
//
// The application posts the distributed notification "KLVMeetingLaunchedNotification" with the user info
// "kKLVMeetingProcessIDKey" (NSNumber, its process id) and "kJumpURLKey" (NSString, may be absent). A notification of
// any process but the one that the receiver launched is ignored. Main thread only; needs its run loop.
#pragma once

#import <Foundation/Foundation.h>

class CLumExtension;

@interface LUMBridge : NSObject {
    NSString *myJumpURL;
    BOOL myLaunchFlag;
    CLumExtension *myReceiver;
}

// The address that the application sent; nil until a matching notification, or when it sent none.
@property(nonatomic, retain) NSString *jumpURL;
// YES once the launched meeting has reported itself; never cleared here.
@property(nonatomic, assign) BOOL launchFlag;

// `receiver` is not owned and must outlive the bridge. Where the notification service cannot be reached the bridge is
// made all the same and hears nothing.
- (id)initWithReceiver:(CLumExtension *)receiver;
- (void)meetingLaunced:(NSNotification *)notification;

@end
