// What is on the disk, compared with the record.
//
// A small file that was turned into the symbolic link whose target it held (a framework's repaired links) counts as
// unchanged, and so does an "InfoPlist.strings", into which the extension writes the application's name, whatever is in
// it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/Folders.h"

namespace lumhost {

struct ComponentState {
    std::string name;
    std::filesystem::path folder;
    std::string version;  // of the bundle's property list or the library's name; empty when it has none
    bool recorded = true; // false: it is there, but nothing is known of its files
    unsigned files = 0;
    std::vector<std::string> missing; // relative to the folder
    std::vector<std::string> changed;

    bool whole() const {
        return recorded && missing.empty() && changed.empty();
    }
};

// Every component on record, and every other one in the user's "Kelvo Folder"; sorted by folder and name. Main thread.
std::vector<ComponentState> ComponentStates(const Folders &folders);

// The same for people: a component a line, with what is wrong with it below.
std::string Listing(const std::vector<ComponentState> &states, const Folders &folders);

} // namespace lumhost
