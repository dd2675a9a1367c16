// The system version that Gestalt answers. For tests of what the extension does on older systems; nothing else may
// include this header, because a lower version switches checks off.
#pragma once

#include <CoreServices/CoreServices.h>

inline constexpr SInt32 kSystemVersion = 0x1090;

// Makes Gestalt answer another version while the object lives.
class ScopedSystemVersion {
public:
    explicit ScopedSystemVersion(SInt32 version);
    ~ScopedSystemVersion();
    ScopedSystemVersion(const ScopedSystemVersion &) = delete;
    ScopedSystemVersion &operator=(const ScopedSystemVersion &) = delete;

private:
    SInt32 m_before;
};
