// Removes installed components. Only what is under their recorded names, and in the user's "Kelvo Folder" under that
// name, is touched; symbolic links are not followed. A component that runs is left alone.
#pragma once

#include <string>
#include <vector>

#include "host/Folders.h"

namespace lumhost {

struct Removal {
    unsigned removed = 0;            // components
    std::vector<std::string> errors; // a sentence for each thing that could not be removed
};

// Removes the components of this name and forgets them. Main thread.
Removal RemoveComponents(const Folders &folders, const std::string &name);

// Removes those that came from this site, or that its pages wanted, and forgets them. Main thread.
Removal RemoveComponentsOf(const Folders &folders, const std::string &site);

// Removes all components, the whole "Kelvo Folder", the records, the last start and the downloads. Nothing when one of
// the components runs. Main thread.
Removal RemoveEverything(const Folders &folders);

} // namespace lumhost
