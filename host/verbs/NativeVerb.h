// `lumhost --native`: one page instance for the browser's extension, from its message to its end.
#pragma once

#include "host/verbs/CommandLine.h"
#include "host/Folders.h"

namespace lumhost {

// Returns the exit status. Main thread, once in a process. When the browser closes its end the process is gone within a
// second; a launched application stays.
int StartForBrowser(const CommandLine &line, const Folders &folders);

} // namespace lumhost
