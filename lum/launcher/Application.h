// Starting an application as a process of its own.
#pragma once

#include <optional>
#include <string>

// Tells the product's other processes that a launch begins.
void AnnounceLaunch();

// Starts the executable, without arguments, or with "-LaunchByLUM" when the placeholder window announces it. Its
// environment is that of a new task and "HOSTTYPE" (on systems before 10.7: this process's own). It has a session of
// its own, none of this process's files, and nothing at its standard streams, so that a reader of this
// process's output does not wait for the application's end.
//
// The process id, or nothing when it could not be started at all. An id does not mean that the executable works: its
// process may have ended already.
std::optional<int> StartApplication(const std::string &executablePath, bool hasPlaceholderWindow);
