// Which content a file has, as far as its status tells, so that who has read it knows whether to read it again.
#pragma once

#include <cstdint>
#include <optional>

namespace base {

// Two that are equal: the same file, and nothing has written to it, replaced it or changed its permissions in between.
// A write through a mapping into memory is noticed when the kernel has noticed it.
struct FileVersion {
    std::uint64_t device;
    std::uint64_t inode;
    std::int64_t size;
    std::int64_t writtenNs; // since 1970, as the next
    std::int64_t changedNs; // of the status; every write sets it, and no program can choose it

    bool operator==(const FileVersion &) const = default;
};

// The version of the regular file at the path (a link's target), or of the open one. Nothing for anything else, when
// the status cannot be read, and for a file that has changed so recently that its next change could leave the same
// times: file systems count in ticks of some milliseconds, or in whole seconds.
std::optional<FileVersion> SettledVersion(const char *path);
std::optional<FileVersion> SettledVersion(int descriptor);

} // namespace base
