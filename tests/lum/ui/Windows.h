// For tests with windows: the extension's bundle with its texts, and a person's hands on a desktop of the test's own.
#pragma once

#include <functional>

#include "tests/support/ChildProcess.h"
#include "tests/support/Desktop.h"

// Starts the desktop and the application, makes the extension's bundle known, and gives the test its windows. `theme`
// is the path of a theme bundle or null. The first thing that a test with windows calls; returns the desktop.
Desktop &StartWindows(const char *theme = nullptr);

// Handles events, as an application does, until the condition holds; returns whether it does within half a minute.
bool Eventually(const std::function<bool()> &condition);
