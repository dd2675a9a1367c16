#include "lum/platform/linux/windows/FrontWindow.h"

#include <xcb/res.h>
#include <xcb/xcb.h>

#include <iterator>
#include <string_view>
#include <vector>

#include "base/WindowServer.h"
#include "base/XcbConnection.h"
#include "lum/platform/Session.h"

namespace {

xcb_window_t RootWindow(xcb_connection_t *connection, int screen) {
    auto iterator = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screen > 0 && iterator.rem > 1; --screen) {
        xcb_screen_next(&iterator);
    }
    return iterator.rem > 0 ? iterator.data->root : xcb_window_t{XCB_WINDOW_NONE};
}

// Windows may vanish at any time: the server then answers with an error, which counts as an absent property.
class WindowProperties {
public:
    explicit WindowProperties(xcb_connection_t *connection) : m_connection(connection) {}

    xcb_atom_t Atom(std::string_view name) const {
        const auto cookie = xcb_intern_atom(m_connection, 1, static_cast<uint16_t>(name.size()), name.data());
        const base::ScopedXcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookie, nullptr));
        return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }

    // The windows that the window manager manages.
    std::vector<xcb_window_t> ClientsFromTheTop(xcb_window_t root) const {
        constexpr uint32_t kLimit = 64 * 1024;
        const xcb_atom_t atom = Atom("_NET_CLIENT_LIST_STACKING");
        const auto cookie = xcb_get_property(m_connection, 0, root, atom, XCB_ATOM_WINDOW, 0, kLimit);
        const base::ScopedXcbReply<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(m_connection, cookie, nullptr));
        if (!reply || reply->format != 32) {
            return {};
        }
        const auto *first = static_cast<const xcb_window_t *>(xcb_get_property_value(reply.get()));
        const auto *end = first + xcb_get_property_value_length(reply.get()) / static_cast<int>(sizeof *first);
        return {std::reverse_iterator(end), std::reverse_iterator(first)};
    }

    bool HasText(xcb_window_t window, xcb_atom_t property) const {
        const auto cookie = xcb_get_property(m_connection, 0, window, property, XCB_ATOM_ANY, 0, 1);
        const base::ScopedXcbReply<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(m_connection, cookie, nullptr));
        return reply && xcb_get_property_value_length(reply.get()) > 0;
    }

private:
    xcb_connection_t *m_connection;
};

bool CanTellOwners(xcb_connection_t *connection) {
    const auto *extension = xcb_get_extension_data(connection, &xcb_res_id);
    if (!extension || !extension->present) {
        return false;
    }
    const auto cookie = xcb_res_query_version(connection, 1, 2);
    const base::ScopedXcbReply<xcb_res_query_version_reply_t> version(
        xcb_res_query_version_reply(connection, cookie, nullptr));
    return version && (version->server_major > 1 || (version->server_major == 1 && version->server_minor >= 2));
}

// The process at the other end of the connection that made the window; 0 when the server does not know.
pid_t OwnerOf(xcb_connection_t *connection, xcb_window_t window) {
    const xcb_res_client_id_spec_t question{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    const auto cookie = xcb_res_query_client_ids(connection, 1, &question);
    const base::ScopedXcbReply<xcb_res_query_client_ids_reply_t> reply(
        xcb_res_query_client_ids_reply(connection, cookie, nullptr));
    if (!reply) {
        return 0;
    }
    auto iterator = xcb_res_query_client_ids_ids_iterator(reply.get());
    for (; iterator.rem > 0; xcb_res_client_id_value_next(&iterator)) {
        if ((iterator.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) &&
            xcb_res_client_id_value_value_length(iterator.data) > 0) {
            return static_cast<pid_t>(*xcb_res_client_id_value_value(iterator.data));
        }
    }
    return 0;
}

xcb_window_t ChooseWindow(xcb_connection_t *connection, xcb_window_t root, pid_t pid) {
    const WindowProperties properties(connection);
    const xcb_atom_t title = properties.Atom("_NET_WM_NAME");
    xcb_window_t untitled = XCB_WINDOW_NONE;
    for (const xcb_window_t window : properties.ClientsFromTheTop(root)) {
        if (OwnerOf(connection, window) != pid) {
            continue;
        }
        if (properties.HasText(window, title) || properties.HasText(window, XCB_ATOM_WM_NAME)) {
            return window;
        }
        if (untitled == XCB_WINDOW_NONE) {
            untitled = window;
        }
    }
    return untitled;
}

void RequestActivation(xcb_connection_t *connection, xcb_window_t root, xcb_window_t window) {
    // As from a pager: an application that asks for another's window is otherwise taken for a thief of the focus.
    constexpr uint32_t kSourcePager = 2;
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = WindowProperties(connection).Atom("_NET_ACTIVE_WINDOW");
    message.data.data32[0] = kSourcePager;
    message.data.data32[1] = XCB_CURRENT_TIME;
    const auto cookie = xcb_send_event_checked(
        connection, 0, root, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
        reinterpret_cast<const char *>(&message));
    // Waits, so that the request has left before the connection is closed.
    const base::ScopedXcbReply<xcb_generic_error_t> error(xcb_request_check(connection, cookie));
}

} // namespace

bool IsWindowServerAvailable() {
    return base::HasWindowServer();
}

Activation ActivateWindowOfProcess(pid_t pid) {
    int screen = 0;
    const base::ScopedXcbConnection connection = base::ConnectToWindowServer(&screen);
    if (!connection || !CanTellOwners(connection.get())) {
        return Activation::NoWindowServer;
    }
    const xcb_window_t root = RootWindow(connection.get(), screen);
    const xcb_window_t window = ChooseWindow(connection.get(), root, pid);
    if (window == XCB_WINDOW_NONE) {
        return Activation::NoWindow;
    }
    RequestActivation(connection.get(), root, window);
    return Activation::Requested;
}
