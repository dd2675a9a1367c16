// Where the window stood when it was last put away: a property list with "Left" and "Top", the distances of the
// window's top left corner from the left and the upper edge of the main screen, in points.
#pragma once

#include <string>

#import <AppKit/AppKit.h>

#include "base/Result.h"

// Puts the window where the file says, moved inside the visible part of the nearest screen when it would reach out of
// it. In the middle of the main screen when the file is missing or damaged, or `file` is "".
void RestorePlace(NSWindow *window, const std::string &file);

// Keeps the place; nothing to do when `file` is "".
base::Result<void> KeepPlace(NSWindow *window, const std::string &file);
