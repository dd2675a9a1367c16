#include "lum/lumext/Guard.h"

#include <exception>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#include "lum/platform/Session.h"

void RunGuarded(const char *where, void (*function)(void *), void *context) {
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    try {
        if (NSException *exception = CatchObjCException(function, context)) {
            MacErrorTrace("%s, exception %s: %s", where, [[exception name] UTF8String],
                          [[exception reason] UTF8String]);
        }
    } catch (const std::exception &exception) {
        MacErrorTrace("%s, exception: %s", where, exception.what());
    } catch (...) {
        MacErrorTrace("%s, unknown exception", where);
    }
    [pool drain];
}
