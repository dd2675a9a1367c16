// A hidden folder that a running process works in, and the removal of those whose process was killed.
//
// The folder holds a file "lock" that its process keeps locked (flock) for as long as it works there. The kernel drops
// the lock when the process ends, however that happens, so a folder whose lock is free is in use by no process.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>

#include "base/Files.h"

namespace base {

// How long a removal may take: as long as it does, or, once a stop is requested, a moment more. What is left then is
// removed by a later CleanStaging.
class RemovalTime {
public:
    RemovalTime() = default;
    explicit RemovalTime(std::stop_token stop) : m_stop(std::move(stop)) {}

    bool IsOver();

private:
    std::stop_token m_stop;
    std::optional<std::chrono::steady_clock::time_point> m_end;
};

class StagingFolder {
public:
    // Makes `prefix` + six random characters in `parent`, for its owner only. Look at error() before use.
    StagingFolder(const std::filesystem::path &parent, const std::string &prefix, std::stop_token stop = {});
    ~StagingFolder(); // removes the folder with all that is in it
    StagingFolder(const StagingFolder &) = delete;
    StagingFolder &operator=(const StagingFolder &) = delete;

    // 0, or the errno of what failed.
    int error() const {
        return m_error;
    }
    // What failed, where, and what to do.
    std::string ErrorText() const;
    const std::filesystem::path &path() const {
        return m_path;
    }

    // Empties it, and the folder `kept` in it, which stays. False when something is left, or `kept` is not there.
    bool Empty(const char *kept) const;

private:
    int Make(const std::string &pattern);

    std::filesystem::path m_parent;
    std::filesystem::path m_path;
    std::stop_token m_stop;
    std::optional<FileLock> m_lock; // none on a file system without locks
    int m_error = 0;
};

// Removes the folders of that prefix in `parent` that belong to no running process. What cannot be removed stays.
void CleanStaging(const std::filesystem::path &parent, const std::string &prefix, const std::stop_token &stop = {});

// Removes `name` in the open folder `parent`, with all that is in it; a symbolic link is removed, not followed; folders
// without permission to write are given it. False when something is left.
bool RemoveTree(int parent, const char *name, RemovalTime &time);

} // namespace base
