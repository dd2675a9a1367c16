#pragma once

#include <functional>

namespace lumhost {

// True when windows can be shown: DISPLAY names a window server that answers. Looked up once.
bool CanShowWindows();

// When the connection to the window server breaks, the window library ends the process. This makes it end with the
// status that `end` returns; nothing of the window library may be called there. To be called when the window system
// has started.
void WatchWindowServer(std::function<int()> end);

} // namespace lumhost
