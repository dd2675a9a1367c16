#include "host/run/WindowServer.h"

#include <X11/Xlib.h>
#include <unistd.h>

namespace lumhost {

namespace {

std::function<int()> &End() {
    static std::function<int()> end;
    return end;
}

int Lost(Display *) {
    _exit(End()());
}

} // namespace

bool CanShowWindows() {
    static const bool can = [] {
        Display *display = XOpenDisplay(nullptr);
        if (!display) {
            return false;
        }
        XCloseDisplay(display);
        return true;
    }();
    return can;
}

void WatchWindowServer(std::function<int()> end) {
    End() = std::move(end);
    XSetIOErrorHandler(Lost);
}

} // namespace lumhost
