// Checks whether the machine has what a start needs, and says what to do about the rest.
#pragma once

#include <string>

#include "base/Finding.h"
#include "host/Folders.h"

namespace lumhost {

// Takes up to a few seconds. Main thread; runs its run loop. Makes no folder and leaves nothing behind.
base::Findings Examine(const Folders &folders);

// A finding a line ("ok    ", "note  ", "BAD   " and the finding), what to do about it on the next.
std::string ToText(const base::Findings &findings);

} // namespace lumhost
