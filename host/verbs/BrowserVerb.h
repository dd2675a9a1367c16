// `lumhost browser install|uninstall|status`.
#pragma once

#include "host/verbs/CommandLine.h"
#include "host/Folders.h"

namespace lumhost {

// Returns the exit status: for "status" 0 when every browser would find this program.
int DoBrowser(const CommandLine &line, const Folders &folders);

} // namespace lumhost
