// Files that change in one step, and digests of files.
//
// Whoever reads a published folder at any moment, or after a kill or a power cut at any moment, finds each file as it
// was before or as it is after, never between. Temporary files are hidden names that begin with TemporaryPrefix(), in
// the folder of the file that they will become. All functions throw SiteError.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace lumsite {

// An open file descriptor, closed with the object; -1 holds none.
class ScopedFd {
public:
    explicit ScopedFd(int fd = -1) : m_fd(fd) {}
    ~ScopedFd();
    ScopedFd(ScopedFd &&other) noexcept : m_fd(other.m_fd) {
        other.m_fd = -1;
    }
    ScopedFd &operator=(ScopedFd &&other) noexcept;
    int get() const {
        return m_fd;
    }
    bool valid() const {
        return m_fd >= 0;
    }

private:
    int m_fd;
};

std::string_view TemporaryPrefix();

std::string ReadWholeFile(const std::filesystem::path &path);

// Writes a new file that only its owner may read and write; fails when there is one already.
void WriteSecretFile(const std::filesystem::path &path, std::string_view content);

// A new empty temporary file in `folder`, readable by everyone. Removed with the object unless it was committed.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::filesystem::path &folder);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;

    const std::filesystem::path &path() const {
        return m_path;
    }
    // Brings the content to the disk and gives the file its name, replacing the file or link that has it, in one step.
    // Anything else of that name, a folder or a device, is left alone and refused.
    void Commit(const std::filesystem::path &final);

private:
    std::filesystem::path m_path;
    bool m_committed = false;
};

// Replaces the file in one step. A file that has this content already is left alone (false).
bool ReplaceFile(const std::filesystem::path &path, std::string_view content);

// Removes what a killed run left in `folder`. Only under the folder's lock.
void RemoveStaleTemporaries(const std::filesystem::path &folder);

// Keeps a second publisher out of `folder` for the object's life; throws when one is at work there.
class FolderLock {
public:
    explicit FolderLock(const std::filesystem::path &folder);

private:
    ScopedFd m_file;
};

// Lower-case hexadecimal digest of a file by "sha1" or "sha256".
std::string DigestOfFile(const std::filesystem::path &path, std::string_view method);
// The same for an open file, read from its start.
std::string DigestOfFile(int fd, std::string_view method);

} // namespace lumsite
