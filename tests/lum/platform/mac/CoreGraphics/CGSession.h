// For the check of sources for macOS on a system without its headers.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

typedef const struct __CFDictionary *CFDictionaryRef;
extern "C" CFDictionaryRef CGSessionCopyCurrentDictionary(void);
