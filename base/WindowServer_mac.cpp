#include <CoreGraphics/CGSession.h>

#include "base/WindowServer.h"

namespace base {

bool HasWindowServer() {
    // There is none for a program that was started over the network or by a system service.
    CFDictionaryRef session = CGSessionCopyCurrentDictionary();
    if (!session) {
        return false;
    }
    CFRelease(session);
    return true;
}

} // namespace base
