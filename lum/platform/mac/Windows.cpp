#include "base/WindowServer.h"
#include "lum/platform/Session.h"

bool IsWindowServerAvailable() {
    return base::HasWindowServer();
}

// AppKit finds such fonts by itself.
void PreferFontsForLocalization(const char *) {}
