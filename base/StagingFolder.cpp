#include "base/StagingFolder.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <utility>
#include <vector>

#include "base/Disk.h"

namespace base {

namespace {

constexpr char kLock[] = "lock";

struct CloseFolder {
    void operator()(DIR *folder) const {
        closedir(folder);
    }
};
using ScopedFolder = std::unique_ptr<DIR, CloseFolder>;

ScopedFolder OpenFolder(int parent, const char *name) {
    ScopedDescriptor file(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    ScopedFolder folder(file ? fdopendir(file.get()) : nullptr);
    if (folder) {
        file.Release();
    }
    return folder;
}

std::vector<std::string> Names(DIR *folder) {
    std::vector<std::string> names;
    while (const dirent *entry = readdir(folder)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    return names;
}

// Whether flock failed because the file system has no locks: it may be used all the same, but nothing cleans up there.
bool HasNoLocks(int error) {
    return error == ENOLCK || error == EOPNOTSUPP || error == ENOSYS || error == EINVAL;
}

// The lock file goes last and while it is locked: a process that waits for it then finds another file, or none, in its
// place. It is closed before the folder goes, because a network file system keeps a removed file in its folder while
// the file is open.
void RemoveLocked(const std::filesystem::path &folder, std::optional<FileLock> lock, RemovalTime time) {
    if (const ScopedFolder open = OpenFolder(AT_FDCWD, folder.c_str())) {
        for (const std::string &name : Names(open.get())) {
            if (name != kLock) {
                RemoveTree(dirfd(open.get()), name.c_str(), time);
            }
        }
    }
    unlink((folder / kLock).c_str());
    lock.reset();
    rmdir(folder.c_str());
}

} // namespace

bool RemovalTime::IsOver() {
    constexpr std::chrono::milliseconds kMoment(300);
    if (!m_stop.stop_requested()) {
        return false;
    }
    const auto now = std::chrono::steady_clock::now();
    m_end = m_end.value_or(now + kMoment);
    return now >= *m_end;
}

StagingFolder::StagingFolder(const std::filesystem::path &parent, const std::string &prefix, std::stop_token stop)
    : m_parent(parent), m_stop(std::move(stop)) {
    const std::string pattern = (parent / (prefix + "XXXXXX")).string();
    do {
        m_error = Make(pattern);
    } while (m_error == EWOULDBLOCK); // another process is cleaning up and took it for a leftover
}

int StagingFolder::Make(const std::string &pattern) {
    std::string name = pattern;
    if (!mkdtemp(name.data())) {
        return errno;
    }
    Result<FileLock> lock = FileLock::Try(std::filesystem::path(name) / kLock);
    if (!lock && !HasNoLocks(lock.error().code)) {
        rmdir(name.c_str());
        return lock.error().code == ENOENT ? EWOULDBLOCK : lock.error().code;
    }
    if (lock && !lock->IsInPlace(std::filesystem::path(name) / kLock)) {
        return EWOULDBLOCK;
    }
    if (lock) {
        m_lock = std::move(*lock);
    }
    m_path = name;
    return 0;
}

StagingFolder::~StagingFolder() {
    if (m_error == 0) {
        RemoveLocked(m_path, std::move(m_lock), RemovalTime(m_stop));
    }
}

std::string StagingFolder::ErrorText() const {
    return DiskErrorText(m_error) + " (" + m_parent.string() + "). Fix the folder or choose another, and try again.";
}

bool StagingFolder::Empty(const char *kept) const {
    const ScopedFolder folder = OpenFolder(AT_FDCWD, m_path.c_str());
    const ScopedFolder inner = folder ? OpenFolder(dirfd(folder.get()), kept) : nullptr;
    if (!inner) {
        return false;
    }
    bool empty = true;
    RemovalTime time(m_stop);
    for (const std::string &name : Names(folder.get())) {
        empty &= name == kLock || name == kept || RemoveTree(dirfd(folder.get()), name.c_str(), time);
    }
    for (const std::string &name : Names(inner.get())) {
        empty &= RemoveTree(dirfd(inner.get()), name.c_str(), time);
    }
    return empty;
}

void CleanStaging(const std::filesystem::path &parent, const std::string &prefix, const std::stop_token &stop) {
    const RemovalTime time(stop);
    const ScopedFolder folder(opendir(parent.c_str()));
    if (!folder) {
        return;
    }
    for (const std::string &name : Names(folder.get())) {
        struct stat info;
        if (!name.starts_with(prefix) || fstatat(dirfd(folder.get()), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 ||
            !S_ISDIR(info.st_mode) || info.st_uid != geteuid()) {
            continue;
        }
        // A lock on a file that a third process has removed in between says nothing about the folder.
        Result<FileLock> lock = FileLock::Try(parent / name / kLock);
        if (lock && lock->IsInPlace(parent / name / kLock)) {
            RemoveLocked(parent / name, std::move(*lock), time);
        }
    }
}

bool RemoveTree(int parent, const char *name, RemovalTime &time) {
    if (time.IsOver()) {
        return false;
    }
    if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) {
        return true;
    }
    ScopedFolder folder = OpenFolder(parent, name);
    if (!folder && errno == EACCES) {
        fchmodat(parent, name, 0700, 0);
        folder = OpenFolder(parent, name);
    }
    if (!folder) {
        return false;
    }
    fchmod(dirfd(folder.get()), 0700);
    bool gone = true;
    for (const std::string &entry : Names(folder.get())) {
        gone = RemoveTree(dirfd(folder.get()), entry.c_str(), time) && gone;
    }
    folder.reset();
    return unlinkat(parent, name, AT_REMOVEDIR) == 0 && gone;
}

} // namespace base
