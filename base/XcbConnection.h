// Connections to the window server and what it answers, freed with their owners.
#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace base {

struct XcbDisconnect {
    void operator()(xcb_connection_t *connection) const {
        xcb_disconnect(connection);
    }
};
using ScopedXcbConnection = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

struct XcbFree {
    void operator()(void *memory) const {
        std::free(memory);
    }
};
template <typename Reply> using ScopedXcbReply = std::unique_ptr<Reply, XcbFree>;

// A connection of its own to the server that DISPLAY names; null when there is none or it does not answer. `screen`,
// which may be null, receives the number of the screen that DISPLAY names.
ScopedXcbConnection ConnectToWindowServer(int *screen = nullptr);

} // namespace base
