// What was installed on this machine, and whether it is still whole.
//
// The data folder holds "installed.json": for each component its folder, name and every file of it with size and
// SHA-256, as they were right after the installation. The extension renames a library to its version and leaves a link
// under its own name; both belong to the component. A small file that was turned into the symbolic link whose target it
// held (a framework's repaired links) counts as unchanged, and so does an "InfoPlist.strings", into which the extension
// writes the application's name, whatever is in it.
//
// Several processes may install at once; each change is made under a lock.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/Folders.h"

namespace lumhost {

struct InstalledFile {
    std::string path;   // relative to the component's folder
    std::string target; // of a symbolic link; empty for a file
    std::uint64_t size = 0;
    std::string sha256; // lower-case hex
};

struct InstalledComponent {
    std::filesystem::path folder;
    std::string name;
    std::vector<InstalledFile> files;
};

// One line of the overview.
struct ComponentState {
    std::string name;
    std::filesystem::path folder;
    std::string version;  // of the bundle's property list or the library's name; empty when it has none
    bool recorded = true; // false: it stands there, but nothing is known of its files
    unsigned files = 0;
    std::vector<std::string> missing; // relative to the folder
    std::vector<std::string> changed;

    bool whole() const {
        return recorded && missing.empty() && changed.empty();
    }
};

class Installed {
public:
    explicit Installed(const Folders &folders) : m_folders(folders) {}

    // Reads and hashes what stands at `destination` (and behind it, when that is a library's link). Nothing throws;
    // what cannot be read is recorded without a hash and will count as changed.
    static InstalledComponent Look(const std::filesystem::path &destination);
    // Adds these, each in place of what was known under its folder and name. False when the record cannot be written.
    bool Record(const std::vector<InstalledComponent> &components, std::string *error = nullptr) const;

    // Every component on record, and every other one in the user's "Kelvo Folder"; sorted by folder and name.
    std::vector<ComponentState> States() const;
    // The same for people, a component a line and its faults below it.
    std::string Listing() const;

    // Removes the components of this name and forgets them. Nothing but what stands under their recorded names (and
    // in the user's "Kelvo Folder" under that name) is touched; links are not followed. Answers how many went; what
    // could not be removed is told in `errors`.
    unsigned Remove(const std::string &name, std::vector<std::string> &errors) const;
    // All components, the whole "Kelvo Folder" and the record.
    unsigned RemoveAll(std::vector<std::string> &errors) const;

private:
    std::filesystem::path File() const;
    std::vector<InstalledComponent> Read() const;
    bool Write(const std::vector<InstalledComponent> &components, std::string *error) const;

    const Folders m_folders;
};

} // namespace lumhost
