// `lumhost --native`: one page instance for the browser's extension, from its message to its end. What StartVerb does
// for a page on the command line; from Run on everything is the same.
#pragma once

#include "host/Folders.h"
#include "host/verbs/CommandLine.h"

namespace lumhost {

// Returns the exit status. Main thread, once in a process. When the browser closes its end, the process ends within a
// second; a launched application keeps running.
int StartForBrowser(const CommandLine &line, const Folders &folders);

} // namespace lumhost
