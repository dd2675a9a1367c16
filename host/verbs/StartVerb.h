// `lumhost PAGE`: from the page to the end of its instance.
//
// A start begins here; what calls what:
//
//   StartVerb (this)   the page, the permission, the extension's code; for a browser NativeVerb does the same
//     Run              one start: joins the parts below and tells the front end
//       Instance       the extension's instance: its service table, downloads, installations
//       MainLoop       runs the main thread and calls Run back
//       RunWatch       decides from what happened when the start is over
#pragma once

#include "host/Folders.h"
#include "host/verbs/CommandLine.h"

namespace lumhost {

// Returns the exit status. Main thread, once in a process.
int StartPage(const CommandLine &line, const Folders &folders);

} // namespace lumhost
