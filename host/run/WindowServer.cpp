#include "host/run/WindowServer.h"

#include <dlfcn.h>
#include <unistd.h>

#include "base/WindowServer.h"

namespace lumhost {

namespace {

std::function<int()> &End() {
    static std::function<int()> end;
    return end;
}

int Lost(void *) {
    _exit(End()());
}

} // namespace

bool CanShowWindows() {
    static const bool can = base::HasWindowServer();
    return can;
}

void WatchWindowServer(std::function<int()> end) {
    End() = std::move(end);
    if (!CanShowWindows()) {
        return;
    }
    // The window system's own copy of the library, which nothing else here needs.
    using Handler = int (*)(void *display);
    void *const library = dlopen("libX11.so.6", RTLD_LAZY);
    void *const setHandler = library ? dlsym(library, "XSetIOErrorHandler") : nullptr;
    if (setHandler) {
        reinterpret_cast<Handler (*)(Handler)>(setHandler)(Lost);
    }
}

} // namespace lumhost
