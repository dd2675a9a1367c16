#include "lum/lumext/Guard.h"

#include <exception>

#import "base/objc/ScopedPool.h"
#include "lum/common/lumutil.h"
#include "lum/platform/Session.h"

void RunGuarded(const char *where, void (*function)(void *), void *context) {
    const base::ScopedPool pool;
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
}
