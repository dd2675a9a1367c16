#pragma once

#include <chrono>

namespace lumhost {

// Whether a distributed notification that this process posts comes back to it in time. Main thread; runs its run loop.
bool NotificationsArrive(std::chrono::milliseconds longest);

} // namespace lumhost
