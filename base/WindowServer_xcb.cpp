#include "base/WindowServer.h"

#include "base/XcbConnection.h"

namespace base {

ScopedXcbConnection ConnectToWindowServer(int *screen) {
    ScopedXcbConnection connection(xcb_connect(nullptr, screen));
    if (xcb_connection_has_error(connection.get())) {
        return nullptr;
    }
    return connection;
}

bool HasWindowServer() {
    return ConnectToWindowServer() != nullptr;
}

} // namespace base
