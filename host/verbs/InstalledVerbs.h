// The verbs about what is installed: status, remove, repair, and forbid --remove.
#pragma once

#include <string>

#include "host/Folders.h"
#include "host/verbs/CommandLine.h"

namespace lumhost {

// Each returns the exit status, and has said what it did. Main thread.
int ShowStatus(const CommandLine &line, const Folders &folders);
int Remove(const CommandLine &line, const Folders &folders);
// The components that came from this site, or that its pages wanted.
int RemoveOfSite(const std::string &site, const Folders &folders);
// Fetches what is damaged again. Once in a process.
int Repair(const CommandLine &line, const Folders &folders);

} // namespace lumhost
