// For tests with windows: the extension's bundle with its texts, and a person's hands on a desktop of the test's own.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tests/support/ChildProcess.h"
#include "tests/support/Desktop.h"

// Starts the desktop and the application, makes the extension's bundle known, and gives the test its windows. `theme`
// is the path of a theme bundle or null. The first thing that a test with windows calls; returns the desktop.
Desktop &StartWindows(const char *theme = nullptr);

// Handles events, as an application does, until the condition holds; returns whether it does within half a minute.
bool Eventually(const std::function<bool()> &condition);

// Whether keys that a person presses go to the window of this title.
bool HasKeyboard(const std::string &title);

// A person, while this program waits in an alert: presses the keys (in xdotool's notation) as soon as a window of this
// title has the keyboard. Without such a window nothing is pressed.
std::unique_ptr<ChildProcess> AnswerWhenShown(const std::string &title, const std::string &keys);

// Presses and releases the mouse's first button at a place on the screen; no event is handled meanwhile.
void Click(int x, int y);
