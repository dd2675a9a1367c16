// The window itself, from its appearance to its going.
#pragma once

#include <string>

#import "fuzzywindow/PlaceholderView.h"

@class LUMPlaceholderController;

class PlaceholderWindow {
public:
    class Owner {
    public:
        // The window is gone; the PlaceholderWindow may be destroyed from within.
        virtual void ClosedByUser() = 0;
        virtual void Warn(const std::string &text) = 0;

    protected:
        ~Owner() = default;
    };

    // Shows the window in front. Needs a window server. Makes the process's NSApplication when it has none. The owner
    // is told while this object lives. Throws what AppKit throws.
    PlaceholderWindow(const PlaceholderTexts &texts, const std::string &placeFile, Owner &owner);
    // Puts the window away and keeps its place.
    ~PlaceholderWindow();
    PlaceholderWindow(const PlaceholderWindow &) = delete;
    PlaceholderWindow &operator=(const PlaceholderWindow &) = delete;

    // False once the user closed it, or it went by itself.
    bool IsShown() const;
    void BringToFront();
    // 0 to 100; negative: unknown.
    void ShowShare(int percent);
    // On the screen when this returns, for the launch that follows keeps the thread. From now on the window goes by
    // itself, when the application announces itself or after half a minute.
    void ShowConnecting();

    // Handles the events that wait, in a process that runs no NSApplication. Whatever they lead to (ClosedByUser) has
    // happened when this returns. Nothing when called from within itself.
    static void HandleEvents();

private:
    LUMPlaceholderController *m_controller; // owned
};
