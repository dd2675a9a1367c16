/* How Apple events travel on this system: as distributed notifications. This header is the contract for applications
 * that receive them; they may copy it, for it needs nothing else.
 *
 * An event of class "kvvt" and id "kvou" is the distributed notification "AppleEvent.kvvt.kvou", without an object.
 * Its user info:
 *
 *   "AppleEventProcessID"     NSNumber; the process that the event is for. Ignore those for another.
 *   "AppleEventNumber"        NSString; unlike that of every other event. The same event may arrive twice (below):
 *                             ignore a number that has been seen.
 *   "AppleEventDirectObject"  the direct parameter, absent when the event has none: an NSNumber for a Boolean, an
 *                             NSString for a text, an NSArray of these for a list.
 *
 * On the target system an event waits until the application asks for events. A notification does not wait, and an
 * application that was started a moment ago may not listen yet. So an application that has begun to listen posts the
 * distributed notification "AppleEventReceiverReady", without an object, with its own id as "AppleEventProcessID" in
 * the user info; the sender then posts again what it had sent to that process before. */
#ifndef LUM_PLATFORM_LINUX_APPLEEVENTNOTIFICATION_H
#define LUM_PLATFORM_LINUX_APPLEEVENTNOTIFICATION_H

#define LUM_APPLE_EVENT_NAME_FORMAT "AppleEvent.%s.%s" /* class, id: four letters each */
#define LUM_APPLE_EVENT_PROCESS_ID_KEY "AppleEventProcessID"
#define LUM_APPLE_EVENT_NUMBER_KEY "AppleEventNumber"
#define LUM_APPLE_EVENT_DIRECT_OBJECT_KEY "AppleEventDirectObject"
#define LUM_APPLE_EVENT_RECEIVER_READY "AppleEventReceiverReady"

#endif
