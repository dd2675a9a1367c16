#include "tests/support/Desktop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "tests/support/ChildProcess.h"

namespace {

using base::ScopedXcbReply;

// A child that ends with this process, however that ends.
void Launch(const std::vector<const char *> &command, int keptDescriptor = -1) {
    if (fork() != 0) {
        return;
    }
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, 0);
    dup2(nowhere, 1);
    dup2(nowhere, 2);
    if (keptDescriptor >= 0) {
        fcntl(keptDescriptor, F_SETFD, 0);
    }
    execvp(command[0], const_cast<char **>(command.data()));
    _exit(127);
}

} // namespace

Desktop &Desktop::Get() {
    static Desktop desktop;
    return desktop;
}

Desktop::Desktop() {
    int numbers[2];
    if (pipe2(numbers, O_CLOEXEC) != 0) {
        ADD_FAILURE() << "no pipe";
        return;
    }
    const std::string descriptor = std::to_string(numbers[1]);
    Launch({"Xvfb", "-displayfd", descriptor.c_str(), "-screen", "0", "1280x800x24", "-nolisten", "tcp", nullptr},
           numbers[1]);
    close(numbers[1]);
    std::string display = ":";
    for (char digit; read(numbers[0], &digit, 1) == 1 && digit != '\n';) {
        display += digit;
    }
    close(numbers[0]);
    if (display == ":") {
        ADD_FAILURE() << "Xvfb does not start";
        return;
    }
    setenv("DISPLAY", display.c_str(), 1);
    Launch({"openbox", nullptr});
    Connect();
}

void Desktop::Connect() {
    m_owned = base::ConnectToWindowServer();
    m_connection = m_owned.get();
    if (!m_connection) {
        ADD_FAILURE() << "no connection to the window server";
        return;
    }
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    EXPECT_TRUE(WaitUntil([&] { return OfRoot("_NET_SUPPORTING_WM_CHECK").size() == 1; })) << "openbox does not start";
}

std::uint32_t Desktop::Atom(const char *name) const {
    const auto cookie = xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
    const ScopedXcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookie, nullptr));
    return reply ? reply->atom : 0;
}

std::vector<std::uint32_t> Desktop::OfRoot(const char *property) const {
    const auto cookie = xcb_get_property(m_connection, 0, m_root, Atom(property), XCB_ATOM_WINDOW, 0, 1024);
    const ScopedXcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection, cookie, nullptr));
    if (!reply) {
        return {};
    }
    const auto *first = static_cast<const std::uint32_t *>(xcb_get_property_value(reply.get()));
    return {first, first + xcb_get_property_value_length(reply.get()) / 4};
}

std::string Desktop::Title(std::uint32_t window) const {
    const auto cookie = xcb_get_property(m_connection, 0, window, Atom("_NET_WM_NAME"), Atom("UTF8_STRING"), 0, 1024);
    const ScopedXcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection, cookie, nullptr));
    if (!reply) {
        return "";
    }
    return {static_cast<const char *>(xcb_get_property_value(reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
}

std::vector<Desktop::Window> Desktop::WindowsTitled(const std::string &title) const {
    std::vector<Window> windows;
    for (const std::uint32_t client : OfRoot("_NET_CLIENT_LIST")) {
        if (Title(client) != title) {
            continue;
        }
        const auto size = xcb_get_geometry(m_connection, client);
        const auto corner = xcb_translate_coordinates(m_connection, client, m_root, 0, 0);
        const ScopedXcbReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(m_connection, size, nullptr));
        const ScopedXcbReply<xcb_translate_coordinates_reply_t> place(
            xcb_translate_coordinates_reply(m_connection, corner, nullptr));
        if (geometry && place) {
            windows.push_back({place->dst_x, place->dst_y, geometry->width, geometry->height});
        }
    }
    return windows;
}

std::optional<Desktop::Window> Desktop::WindowTitled(const std::string &title) const {
    const std::vector<Window> windows = WindowsTitled(title);
    return windows.size() == 1 ? std::optional(windows[0]) : std::nullopt;
}

bool Desktop::WaitForWindow(const std::string &title) const {
    return WaitUntil([&] { return WindowTitled(title).has_value(); });
}

std::string Desktop::ActiveTitle() const {
    const std::vector<std::uint32_t> active = OfRoot("_NET_ACTIVE_WINDOW");
    return active.empty() ? "" : Title(active[0]);
}

bool Desktop::HasKeyboard(const std::string &title) const {
    const ScopedXcbReply<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    return focus && Title(focus->focus) == title;
}

int Desktop::CountPixels(int x, int y, int width, int height, std::uint32_t colour) const {
    const auto cookie = xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root, static_cast<std::int16_t>(x),
                                      static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width),
                                      static_cast<std::uint16_t>(height), ~0u);
    const ScopedXcbReply<xcb_get_image_reply_t> image(xcb_get_image_reply(m_connection, cookie, nullptr));
    if (!image) {
        ADD_FAILURE() << "no picture of the screen";
        return -1;
    }
    const auto *pixels = reinterpret_cast<const std::uint32_t *>(xcb_get_image_data(image.get()));
    int count = 0;
    for (int i = 0; i < width * height; ++i) {
        count += (pixels[i] & 0xFFFFFF) == colour;
    }
    return count;
}

void Desktop::Do(const std::string &commands) const {
    OutputOf("xdotool " + commands);
}

// A press and a release in the same moment would be taken for a press alone.
void Desktop::Click(int x, int y) const {
    Do("mousemove " + std::to_string(x) + " " + std::to_string(y) + " mousedown 1 sleep 0.1 mouseup 1");
}

void Desktop::MoveWindow(const std::string &title, int x, int y) const {
    Do("search --name '^" + title + "$' windowmove --sync " + std::to_string(x) + " " + std::to_string(y));
}

std::jthread Desktop::PressOnceShown(const std::string &title, const std::string &keys) const {
    return std::jthread([this, title, keys](const std::stop_token &end) {
        while (!HasKeyboard(title)) {
            if (end.stop_requested()) {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        Press(keys);
    });
}
