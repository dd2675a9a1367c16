/* The one place that catches Objective-C exceptions: in Objective-C++ the compiler binds @catch(id) to a wrong object.
 */
#ifndef LUM_PLATFORM_CATCHOBJCEXCEPTION_H
#define LUM_PLATFORM_CATCHOBJCEXCEPTION_H

#include "lum/platform/ObjcForward.h"

LUM_FORWARD_CLASS(NSException);

#ifdef __cplusplus
extern "C" {
#endif

/* Calls function(context) and returns the NSException that it threw, autoreleased, or nil. Other exceptions (C++ ones,
 * thrown objects of another class) pass through. Any thread. */
NSException *CatchObjCException(void (*function)(void *context), void *context);

#ifdef __cplusplus
}
#endif

#endif
