/* Carbon, as far as the extension uses it. */
#ifndef LUM_PLATFORM_LINUX_CARBON_H
#define LUM_PLATFORM_LINUX_CARBON_H

#include <ApplicationServices/ApplicationServices.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The event record that a browser hands to its plug-ins. */
typedef struct EventRecord {
    UInt16 what;
    UInt32 message;
    UInt32 when;
    Point where;
    UInt16 modifiers;
} EventRecord;

/* --- Sending Apple events --- */

typedef SInt32 AESendMode;
typedef SInt16 AESendPriority;
typedef struct OpaqueAEIdleUPP *AEIdleUPP;
typedef struct OpaqueAEFilterUPP *AEFilterUPP;

enum {
    kAENoReply = 0x00000001,
    kAENormalPriority = 0x00000000,
    kAEDefaultTimeout = -1,
};

/* Sends an event whose parameters hold Booleans, texts and lists of these. Only kAENoReply: `reply` may be null, and is
 * else made a null descriptor; the last four arguments are ignored. What stands for an Apple event on this system, and
 * how an application receives it, says lum/platform/linux/AppleEventNotification.h.
 *
 * procNotFound when the target has ended, connectionInvalid when the notification server cannot be reached. noErr says
 * that the event was posted, not that the target looked at it. Main thread only. */
OSErr AESend(const AppleEvent *theAppleEvent, AppleEvent *reply, AESendMode sendMode, AESendPriority sendPriority,
             SInt32 timeOutInTicks, AEIdleUPP idleProc, AEFilterUPP filterProc);

#ifdef __cplusplus
}
#endif

#endif
