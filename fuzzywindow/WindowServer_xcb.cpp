#include <xcb/xcb.h>

#include "fuzzywindow/WindowServer.h"

bool HasWindowServer() {
    xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
    const bool connected = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection); // also frees a connection that failed
    return connected;
}
