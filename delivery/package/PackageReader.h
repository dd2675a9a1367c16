// A package as a sequence of entries, read through libarchive. All functions throw UnpackFailure.
#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "delivery/package/UnpackFailure.h"
#include "delivery/package/UnpackTree.h"

namespace delivery {

struct PackageEntry {
    enum class Kind { Folder, File, Link, HardLink };
    Kind kind;
    std::string path;
    std::string target; // of a link
    bool executable;
};

class PackageReader {
public:
    // A decoder that wants a larger window than `maxWindow` refuses the package, at the first entry.
    PackageReader(const std::filesystem::path &package, std::uint64_t maxWindow);

    // Nothing after the last entry.
    std::optional<PackageEntry> Next();

    // Writes the contents of the entry to the empty `file` by pieces. Before it grows by `more` bytes (holes count),
    // `admit` is asked, which throws when it may not.
    void CopyTo(int file, const std::function<void(std::uint64_t more)> &admit);

    // After the first entry, which stays the current one: the bytes that all entries unpack to, or a smaller number
    // when that is not known before.
    std::uint64_t LeastSize() const;

private:
    void CheckWindow() const;
    UnpackFailure Damaged() const;
    std::string Detail() const;

    struct CloseArchive {
        void operator()(archive *archive) const {
            archive_read_free(archive);
        }
    };
    const std::filesystem::path m_package;
    const std::uint64_t m_maxWindow;
    base::ScopedDescriptor m_file;
    std::uint64_t m_fileSize = 0;
    bool m_started = false;
    std::unique_ptr<archive, CloseArchive> m_archive;
    archive_entry *m_entry = nullptr; // the archive's
};

} // namespace delivery
