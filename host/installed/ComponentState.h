// What is on the disk, compared with the record, file by file (FileState.h).
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/Folders.h"

namespace lumhost {

struct ComponentState {
    std::string name;
    std::filesystem::path folder;
    std::string version = {}; // of the bundle's property list or the library's name; empty when it has none
    // Sites: from which it came, and of the page that wanted it. Empty when it is not known.
    std::string site = {};
    std::string page = {};
    std::int64_t installed = 0; // seconds since 1970; 0 when it is not known
    bool recorded = true;       // false: it is there, but nothing is known of its files
    unsigned files = 0;
    std::vector<std::string> missing = {}; // relative to the folder
    std::vector<std::string> changed = {};

    bool whole() const {
        return recorded && missing.empty() && changed.empty();
    }
};

// Every component on record, and every other one in the user's "Kelvo Folder"; sorted by folder and name. Main thread.
std::vector<ComponentState> ComponentStates(const Folders &folders);

// The same for people: a component a line, with what is wrong with it below.
std::string Listing(const std::vector<ComponentState> &states, const Folders &folders);

// For programs: a JSON array with an object for each, as docs/lumhost.md describes.
std::string JsonListing(const std::vector<ComponentState> &states, const std::string &user);

} // namespace lumhost
