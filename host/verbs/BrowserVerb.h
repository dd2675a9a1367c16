// `lumhost browser install|uninstall|status`.
#pragma once

#include "host/Folders.h"
#include "host/verbs/CommandLine.h"

namespace lumhost {

// Returns the exit status: for "status" 0 when every browser would find this program.
int DoBrowser(const CommandLine &line, const Folders &folders);

} // namespace lumhost
