// The component while it is being unpacked: files, folders and links below one open folder.
//
// No path is ever handed to the system. Each entry is reached name by name from the open folder, and only through
// folders that are none but folders, so that no entry can lead out, whatever links were made before it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/ScopedDescriptor.h"
#include "delivery/package/EntryPath.h"

namespace delivery {

// All functions throw UnpackFailure.
class UnpackTree {
public:
    // `root` stays the caller's. More than `maxEntries` things are not made.
    UnpackTree(int root, std::uint64_t maxEntries) : m_root(root), m_left(maxEntries) {}

    void MakeFolder(const EntryPath &path);
    base::ScopedDescriptor MakeFile(const EntryPath &path, bool executable);
    void MakeLink(const EntryPath &path, const std::string &target);
    // A second name of a file that was made before; the descriptor is for writing to it.
    base::ScopedDescriptor MakeHardLink(const EntryPath &path, const EntryPath &target);

    bool empty() const {
        return m_made == 0;
    }

private:
    struct OpenFolder {
        std::string name;
        base::ScopedDescriptor folder;
    };
    // The folder that the last name of `path` lies in; it stays open for the entries to come.
    int Parent(const EntryPath &path);
    int Enter(std::size_t depth, std::string_view name, const EntryPath &path);
    void Count();

    const int m_root;
    std::uint64_t m_left;
    std::uint64_t m_made = 0;
    std::vector<OpenFolder> m_open; // from the root down
};

} // namespace delivery
