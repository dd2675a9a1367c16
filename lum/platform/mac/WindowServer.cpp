#include <ApplicationServices/ApplicationServices.h>

#include "lum/platform/Session.h"

bool IsWindowServerAvailable() {
    CFDictionaryRef session = CGSessionCopyCurrentDictionary();
    if (!session) {
        return false;
    }
    CFRelease(session);
    return true;
}

// The system's own is right.
void UseLookOfBundle(NSBundle *) {}

// AppKit finds such fonts by itself.
void PreferFontsForLocalization(const char *) {}
