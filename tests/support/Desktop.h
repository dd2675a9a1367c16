// A window server and a window manager of the test's own, with what a person would do and see there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct xcb_connection_t;

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
    // The only one of them.
    std::optional<Window> WindowTitled(const std::string &title) const;
    // How many pixels of the rectangle have exactly this colour, 0xRRGGBB.
    int CountPixels(int x, int y, int width, int height, std::uint32_t colour) const;

    // A key or chord in the notation of xdotool ("Escape", "alt+F4"), to the window that has the keyboard.
    void Press(const std::string &key) const;
    void MoveWindow(const std::string &title, int x, int y) const;

private:
    Desktop();
    void Connect();
    std::uint32_t Atom(const char *name) const;
    std::vector<std::uint32_t> Clients() const;
    std::string Title(std::uint32_t window) const;

    xcb_connection_t *m_connection = nullptr;
    std::uint32_t m_root = 0;
};
