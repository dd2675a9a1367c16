#include "base/WindowServer.h"
#include "lum/platform/Session.h"

bool IsWindowServerAvailable() {
    return base::HasWindowServer();
}

// The system's own is right.
void UseLookOfBundle(NSBundle *) {}

// AppKit finds such fonts by itself.
void PreferFontsForLocalization(const char *) {}
