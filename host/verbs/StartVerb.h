// `lumhost PAGE`: from the page to the end of its instance.
#pragma once

#include "host/verbs/CommandLine.h"
#include "host/Folders.h"

namespace lumhost {

// Returns the exit status. Main thread, once in a process.
int StartPage(const CommandLine &line, const Folders &folders);

} // namespace lumhost
