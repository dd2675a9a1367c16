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

#include <string>

#include "host/Folders.h"
#include "host/installed/Installed.h"
#include "host/verbs/CommandLine.h"

namespace lumhost {

// Returns the exit status. Main thread, once in a process.
int StartPage(const CommandLine &line, const Folders &folders);

// Whether a word is a page and not the name of a component: an address, or a file that exists.
bool IsPage(const std::string &word);

// Starts that only install, from the page on the command line or from where a component came, after everything that
// they list and that is damaged was removed. The exit status as of a start, but 0 when there was nothing to do.
int RepairPage(const CommandLine &line, const Folders &folders);
int RepairFrom(const InstalledSource &source, const CommandLine &line, const Folders &folders);

} // namespace lumhost
