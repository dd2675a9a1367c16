/* An application of another toolkit: plainwindows TITLE... opens one window for each title, each above the one before;
 * an empty title gives a window without one. A window whose title begins with "-" is minimized from the start. */
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <xcb/xcb.h>

static xcb_atom_t atom(xcb_connection_t *connection, const char *name) {
    const xcb_intern_atom_cookie_t cookie = xcb_intern_atom(connection, 0, (uint16_t)strlen(name), name);
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(connection, cookie, NULL);
    const xcb_atom_t found = reply ? reply->atom : XCB_ATOM_NONE;
    free(reply);
    return found;
}

/* A window manager that is just starting may lose a request, so it is repeated. */
static void show(xcb_connection_t *connection, xcb_window_t window) {
    struct pollfd events = {xcb_get_file_descriptor(connection), POLLIN, 0};
    for (int shown = 0; !shown;) {
        xcb_map_window(connection, window);
        xcb_flush(connection);
        poll(&events, 1, 500);
        for (xcb_generic_event_t *event; (event = xcb_poll_for_event(connection));) {
            shown |= (event->response_type & 0x7F) == XCB_EXPOSE;
            free(event);
        }
        if (xcb_connection_has_error(connection)) {
            exit(1);
        }
    }
}

static void minimize(xcb_connection_t *connection, xcb_window_t window) {
    const uint32_t hints[9] = {2 /* the state is given */, 0, 3 /* iconic */};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 32, 9, hints);
    xcb_map_window(connection, window);
    xcb_flush(connection);
}

int main(int argc, char **argv) {
    alarm(120);
    xcb_connection_t *connection = xcb_connect(NULL, NULL);
    xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    for (int i = 1; i < argc; ++i) {
        const xcb_window_t window = xcb_generate_id(connection);
        const uint32_t events = XCB_EVENT_MASK_EXPOSURE;
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 200, 100, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, &events);
        if (*argv[i]) {
            xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atom(connection, "_NET_WM_NAME"),
                                atom(connection, "UTF8_STRING"), 8, (uint32_t)strlen(argv[i]), argv[i]);
        }
        *argv[i] == '-' ? minimize(connection, window) : show(connection, window);
    }
    for (;;) {
        free(xcb_wait_for_event(connection));
    }
}
