// Files that are read whole and replaced whole.
//
// A file is replaced by writing a new one beside it and renaming that: a concurrent reader sees the old content or the
// new, never a part of either. The new file is hidden and its name holds the number of the process that writes it, so
// that what a killed process has left can be told from what a living one writes, and is removed by the next one.
//
// The code of an Error is an errno. Any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "base/Result.h"
#include "base/ScopedDescriptor.h"

namespace base {

// The file's bytes. Fails when it is missing, not a regular file (EISDIR, EINVAL), larger than maxBytes (EFBIG) or
// unreadable. Does not wait for the other end of a pipe of that name.
Result<std::string> ReadWhole(const std::filesystem::path &file, std::uint64_t maxBytes);

// The whole of an open file, read from its start; the descriptor's position does not change.
Result<std::string> ReadWhole(int descriptor, std::uint64_t maxBytes);

// At most maxBytes from where the descriptor stands: for what has no size, such as a pipe or a file in /proc. What
// could be read when an error ends the reading.
std::string ReadStart(int descriptor, std::size_t maxBytes);

// Writes all of it, or fails.
Result<void> WriteAll(int descriptor, std::string_view bytes);

enum class Readers { Owner, Everyone };

// Makes the folder and the missing ones above it, all for these readers. A folder that exists stays as it is.
Result<void> MakeFolder(const std::filesystem::path &folder, Readers readers = Readers::Owner);

// Whether a new file is on the disk when the function returns, so that it outlives a power failure.
enum class Durability { Cached, OnDisk };

// A new file that has not got its name yet. Removed with the object unless it was committed.
class StagedFile {
public:
    // An empty file in `folder`, which must exist.
    static Result<StagedFile> Make(const std::filesystem::path &folder, Readers readers = Readers::Owner);
    ~StagedFile();
    StagedFile(StagedFile &&other) noexcept;
    StagedFile &operator=(StagedFile &&) = delete;

    // For writing, until Commit.
    int descriptor() const {
        return m_file.get();
    }
    const std::filesystem::path &path() const {
        return m_path;
    }

    // Gives the file its name, in the folder where it was made, in the place of a file or symbolic link of that name.
    // Refuses to replace anything else, such as a folder (EEXIST). After a failure the old file is as it was.
    Result<void> Commit(const std::filesystem::path &file, Durability durability = Durability::OnDisk);

private:
    StagedFile(std::filesystem::path path, ScopedDescriptor file) : m_path(std::move(path)), m_file(std::move(file)) {}

    std::filesystem::path m_path; // empty when there is nothing to remove
    ScopedDescriptor m_file;
};

// Replaces the file in one step. Makes missing folders above it for the same readers, and removes what killed writers
// have left there.
Result<void> ReplaceFile(const std::filesystem::path &file, std::string_view content, Readers readers = Readers::Owner,
                         Durability durability = Durability::OnDisk);

// Writes a new file, on the disk, for its owner only. Fails when something has that name already (EEXIST).
Result<void> WriteNewFile(const std::filesystem::path &file, std::string_view content);

// Removes the staged files of processes that have ended from `folder`.
void RemoveUnfinished(const std::filesystem::path &folder);

// A lock between processes (and between threads that each make their own), held while the object lives. The file is
// made, for its owner only, when it is missing, and stays.
class FileLock {
public:
    // Waits for the lock. Fails when the file cannot be opened or its file system has no locks.
    static Result<FileLock> Wait(const std::filesystem::path &file);
    // EWOULDBLOCK when another one holds it.
    static Result<FileLock> Try(const std::filesystem::path &file);
    // A lock that others may share, but that keeps out the two above. EWOULDBLOCK when one of those is held.
    static Result<FileLock> TryShared(const std::filesystem::path &file);

    // Makes a shared lock the only one. After a failure (another one shares it) this holds nothing any more: of several
    // that leave at the same time exactly one succeeds.
    bool BecomesOnly() const;
    // Whether the locked file is still the one of that name: another process may have removed it in between.
    bool IsInPlace(const std::filesystem::path &file) const;

    int descriptor() const {
        return m_file.get();
    }

private:
    explicit FileLock(ScopedDescriptor file) : m_file(std::move(file)) {}
    static Result<FileLock> Take(const std::filesystem::path &file, int operation);

    ScopedDescriptor m_file;
};

} // namespace base
