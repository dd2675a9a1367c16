// The record of what was installed on this machine.
//
// The data folder holds "installed.json": for each component its folder, its name and all its files with size and
// SHA-256, as they were right after the installation. The extension renames a library after its version and leaves a
// link under its own name; both belong to the component.
//
// Several processes may install at once; each change is made under a lock. Any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "base/Result.h"
#include "host/Folders.h"

namespace lumhost {

struct InstalledFile {
    std::string path;   // relative to the component's folder
    std::string target; // of a symbolic link; empty for a file
    std::uint64_t size = 0;
    std::string sha256; // lower-case hexadecimal; empty when the file could not be read
};

struct InstalledComponent {
    std::filesystem::path folder;
    std::string name;
    std::vector<InstalledFile> files;
};

// Whether the name stays in its folder: names of the record are used for removing.
bool IsPlainName(const std::string &name);

class Installed {
public:
    explicit Installed(const Folders &folders) : m_folder(folders.data) {}

    // Reads and hashes what is at `destination` (and its target, when that is a library's link). What cannot be read is
    // recorded without a hash and will count as changed.
    static InstalledComponent Look(const std::filesystem::path &destination);

    // All components on record. A record that is missing or damaged is an empty one.
    std::vector<InstalledComponent> Components() const;

    // Adds these, each replacing what was recorded under its folder and name.
    base::Result<void> Record(const std::vector<InstalledComponent> &components) const;

    // Changes the record under the lock; it is written when `change` answers true.
    base::Result<void> Change(const std::function<bool(std::vector<InstalledComponent> &)> &change) const;

    // Removes the record itself.
    void RemoveFile() const;

private:
    std::filesystem::path File() const;

    const std::filesystem::path m_folder;
};

} // namespace lumhost
