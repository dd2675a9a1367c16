// Windows of other processes, asked of the X server.
//
// Each call makes a connection of its own and leaves the process's other connections and their error handling alone.
#pragma once

#include <sys/types.h>

enum class Activation {
    Requested,      // the window manager was asked; it may refuse
    NoWindow,       // the process has no window that the window manager knows of
    NoWindowServer, // the server cannot be reached, or cannot tell whose a window is
};

// Brings the uppermost window of the process that has a title to the front, or the uppermost when none has one.
Activation ActivateWindowOfProcess(pid_t pid);
