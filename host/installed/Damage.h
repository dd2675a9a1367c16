// Finds damaged components and takes them out of the way, so that the extension takes them for missing and fetches
// them.
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "host/Folders.h"

namespace lumhost {

enum class Scrutiny {
    Programs,  // programs and libraries that are missing, shortened or not executable: a few system calls each
    EveryFile, // reads everything, as "status" does
};

// Of the components on record at these places, those that are damaged are removed, each in one step; their record stays
// until they are installed again. One that runs is left alone. A component that was replaced without being recorded
// (the disk was full) is recorded as it is. A sentence for each thing that was done. Any thread.
std::vector<std::string> RemoveDamaged(const Folders &folders, const std::set<std::filesystem::path> &places,
                                       Scrutiny scrutiny);

// Processes of this user whose program, or whose script, is in this file or folder: their names, each once.
std::vector<std::string> RunningFrom(const std::filesystem::path &place);

} // namespace lumhost
