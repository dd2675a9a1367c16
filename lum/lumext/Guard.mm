#include "lum/lumext/Guard.h"

#include <exception>

#import "base/objc/ScopedPool.h"
#include "lum/common/lumutil.h"
#include "lum/platform/Session.h"

std::optional<std::string> RunCatching(void (*function)(void *), void *context) {
    try {
        if (NSException *exception = CatchObjCException(function, context)) {
            return std::string("exception ") + [[exception name] UTF8String] + ": " + [[exception reason] UTF8String];
        }
        return std::nullopt;
    } catch (const std::exception &exception) {
        return std::string("exception: ") + exception.what();
    } catch (...) {
        return "unknown exception";
    }
}

void RunGuarded(const char *where, void (*function)(void *), void *context) {
    const base::ScopedPool pool;
    if (const auto exception = RunCatching(function, context)) {
        MacErrorTrace("%s, %s", where, exception->c_str());
    }
}
