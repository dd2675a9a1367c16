#import "lum/platform/linux/windows/EventQueue.h"

#import <AppKit/AppKit.h>
#import <objc/runtime.h>

static const NSTimeInterval kLongestWait = 0.2; // seconds, until events are looked for although none is announced

typedef NSEvent *(*NextEvent)(id, SEL, NSUInteger, NSDate *, NSString *, BOOL);
static NextEvent originalNextEvent;

// Waits in steps, because each call begins with a look at what has arrived. Returns a retained event or nil.
static NSEvent *NewEvent(id self, SEL selector, NSUInteger mask, NSDate *limit, NSString *mode, BOOL dequeue) {
    NSEvent *event;
    BOOL over;
    do {
        NSAutoreleasePool *pool = [NSAutoreleasePool new];
        NSDate *soon = [NSDate dateWithTimeIntervalSinceNow:kLongestWait];
        over = [limit earlierDate:soon] == limit;
        event = [originalNextEvent(self, selector, mask, over ? limit : soon, mode, dequeue) retain];
        [pool drain];
    } while (!event && !over);
    return event;
}

static NSEvent *NextEventInOrder(id self, SEL selector, NSUInteger mask, NSDate *limit, NSString *mode, BOOL dequeue) {
    if (!limit) {
        limit = [NSDate distantPast];
    }
    NSEvent *event = [NewEvent(self, selector, mask, limit, mode, dequeue) autorelease];
    if (!dequeue || [event type] != NSLeftMouseUp || !(mask & NSLeftMouseDownMask)) {
        return event;
    }
    NSDate *now = [NSDate distantPast];
    NSEvent *press = originalNextEvent(self, selector, NSLeftMouseDownMask, now, mode, NO);
    if (!press || [press timestamp] > [event timestamp]) {
        return event;
    }
    press = originalNextEvent(self, selector, NSLeftMouseDownMask, now, mode, YES);
    [self postEvent:event atStart:YES];
    return press;
}

void MendEventQueue(void) {
    Method method = class_getInstanceMethod([NSApplication class], @selector(nextEventMatchingMask:
                                                                                         untilDate:inMode:dequeue:));
    if (method && !originalNextEvent) {
        originalNextEvent = (NextEvent)method_setImplementation(method, (IMP)NextEventInOrder);
    }
}
