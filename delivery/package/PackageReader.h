// A package as a sequence of entries, read through libarchive. All functions throw UnpackFailure.
#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "delivery/package/Decompressor.h"
#include "delivery/package/UnpackFailure.h"

namespace delivery {

struct PackageEntry {
    enum class Kind { Folder, File, Link, HardLink };
    Kind kind;
    std::string path;
    std::string target; // of a link
    bool executable;
};

// What came of the contents of an entry.
struct Copied {
    std::uint64_t size = 0;
    std::optional<std::uint64_t> digest; // XXH3; nothing when the contents did not come from one end to the other
};

class PackageReader {
public:
    // `package` is open for reading, stays the caller's, and is read by nothing else meanwhile. A compressed stream
    // anywhere in it that wants a larger window than `maxWindow` refuses the package when it is reached; so does a
    // second compression within the first.
    PackageReader(int package, std::uint64_t maxWindow);

    // Nothing after the last entry.
    std::optional<PackageEntry> Next();

    // Writes the contents of the entry to the empty `file` by pieces. Before it grows by `more` bytes (holes count),
    // `admit` is asked, which throws when it may not.
    Copied CopyTo(int file, const std::function<void(std::uint64_t more)> &admit);

    // After the first entry, which stays the current one: the bytes that all entries unpack to, or a smaller number
    // when that is not known before.
    std::uint64_t LeastSize() const;

private:
    static la_ssize_t ReadCallback(archive *archive, void *self, const void **block);
    bool Decompress(std::string_view &out); // false: see m_failure
    void Open();
    void CheckNesting() const;
    void CheckTable() const;
    UnpackFailure Damaged() const;
    std::string Detail() const;

    struct CloseArchive {
        void operator()(archive *archive) const {
            archive_read_free(archive);
        }
    };
    const int m_file;
    const std::uint64_t m_maxWindow;
    std::uint64_t m_fileSize = 0;
    std::unique_ptr<Decompressor> m_decompressor; // null when libarchive decompresses, or nothing does
    std::unique_ptr<char[]> m_input;              // of kReadBlock bytes
    std::string_view m_rest;                      // of m_input
    bool m_inputEnded = false;
    std::optional<UnpackFailure> m_failure; // of the decompressor
    bool m_started = false;
    std::unique_ptr<archive, CloseArchive> m_archive;
    archive_entry *m_entry = nullptr; // the archive's
};

} // namespace delivery
