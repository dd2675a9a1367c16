// A file that is on its way, as all processes of a user share it: one of them downloads it, the others wait and use it,
// and what a process has begun another one goes on with, however the first has ended.
//
//   FOLDER/NAME         the bytes, as far as they have arrived; who downloads keeps it locked
//   FOLDER/NAME.users   locked (shared) by everybody who wants the file; its text says what the bytes are
//
// The kernel drops the locks of a process that ends. The last one to leave removes a file that is complete: it has been
// installed. A part stays for kKeptParts.
//
// Not for two threads at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "base/Files.h"

namespace delivery {

class CachedFile {
public:
    static constexpr std::chrono::hours kKeptParts{7 * 24};

    enum class Turn {
        Mine,     // to download, from now on; see descriptor()
        Complete, // see Give
        Others,   // another process downloads
    };

    // What the bytes are the beginning of.
    struct Origin {
        std::string tag;     // strong entity tag
        std::string address; // from which it came
        std::optional<std::uint64_t> total;
    };

    // Null when the file system has no locks, or something else is in the way: then everybody downloads alone.
    static std::unique_ptr<CachedFile> Join(const std::filesystem::path &folder, const std::string &name);
    ~CachedFile();
    CachedFile(const CachedFile &) = delete;
    CachedFile &operator=(const CachedFile &) = delete;

    // Whose turn it is now.
    Turn Look();
    // Bytes that have arrived, whoever downloads.
    std::uint64_t size() const;

    // The rest only with the turn.
    int descriptor() const {
        return m_turn->descriptor();
    }
    const std::filesystem::path &path() const {
        return m_path;
    }
    // Nothing when the bytes are of no use.
    std::optional<Origin> origin() const;
    // Before the first byte of another origin is written; nothing: these bytes cannot be gone on with.
    void SetOrigin(const std::optional<Origin> &origin);
    // All bytes are there. Ends the turn.
    void Complete();

    // Makes the complete file appear under this name, too.
    base::Result<void> Give(const std::filesystem::path &file) const;

    // Removes what has been kept for too long.
    static void RemoveOld(const std::filesystem::path &folder);

private:
    CachedFile(std::filesystem::path path, base::FileLock user) : m_path(std::move(path)), m_user(std::move(user)) {}

    bool IsComplete() const;
    void Write(const std::string &text) const;

    const std::filesystem::path m_path;
    base::FileLock m_user;
    std::optional<base::FileLock> m_turn;
};

} // namespace delivery
