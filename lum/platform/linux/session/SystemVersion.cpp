#include "lum/platform/linux/session/SystemVersion.h"

#include <utility>

namespace {

SInt32 g_systemVersion = kSystemVersion;

} // namespace

ScopedSystemVersion::ScopedSystemVersion(SInt32 version) : m_before(std::exchange(g_systemVersion, version)) {}

ScopedSystemVersion::~ScopedSystemVersion() {
    g_systemVersion = m_before;
}

OSErr Gestalt(OSType selector, SInt32 *response) {
    if (!response) {
        return paramErr;
    }
    if (selector != gestaltSystemVersion) {
        return gestaltUndefSelectorErr;
    }
    *response = g_systemVersion;
    return noErr;
}
