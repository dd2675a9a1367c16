// A window server and a window manager of the test's own, with what a person would do and see there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/XcbConnection.h"

class Desktop {
public:
    struct Window {
        int x, y; // of its content, on the screen
        int width, height;
    };

    // The process's desktop, 1280 by 800. Started at the first call, which sets DISPLAY, so it comes before anything
    // that connects to a window server; it ends with the process. Fails the running test when it cannot be started.
    static Desktop &Get();
    Desktop(const Desktop &) = delete;
    Desktop &operator=(const Desktop &) = delete;

    // The windows that the window manager shows under this title, in no particular order.
    std::vector<Window> WindowsTitled(const std::string &title) const;
    // Whether the window with the keyboard is one of them: before that, keys are lost.
    bool HasKeyboard(const std::string &title) const;
    // The title of the window that the window manager has activated.
    std::string ActiveTitle() const;
    // The only one of them.
    std::optional<Window> WindowTitled(const std::string &title) const;
    // Whether there is one within half a minute.
    bool WaitForWindow(const std::string &title) const;
    // How many pixels of the rectangle have exactly this colour, 0xRRGGBB.
    int CountPixels(int x, int y, int width, int height, std::uint32_t colour) const;

    // What a person's hands do, in the commands of xdotool ("key Escape", "mousemove 9 9").
    void Do(const std::string &commands) const;
    // Keys or chords, to the window that has the keyboard ("Escape", "alt+F4", "Tab space").
    void Press(const std::string &keys) const {
        Do("key " + keys);
    }
    // The mouse's first button, pressed and released.
    void Click(int x, int y) const;
    void MoveWindow(const std::string &title, int x, int y) const;
    // A person while this thread waits in an alert: presses the keys as soon as a window of this title has the
    // keyboard. Without such a window nothing is pressed until the result is destroyed.
    std::jthread PressOnceShown(const std::string &title, const std::string &keys) const;

private:
    Desktop();
    void Connect();
    std::uint32_t Atom(const char *name) const;
    // The values of the root window's property; empty when it has none.
    std::vector<std::uint32_t> OfRoot(const char *property) const;
    std::string Title(std::uint32_t window) const;

    base::ScopedXcbConnection m_owned;
    xcb_connection_t *m_connection = nullptr;
    std::uint32_t m_root = 0;
};
