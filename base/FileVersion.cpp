#include "base/FileVersion.h"

#include <sys/stat.h>

#include <ctime>

namespace base {

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kLongestTick = kSecond / 20; // of a kernel; 10 ms is the longest in use
constexpr std::int64_t kCoarsestTick = 2 * kSecond; // of a file system whose times are whole seconds

std::int64_t Nanoseconds(const timespec &time) {
    return time.tv_sec * kSecond + time.tv_nsec;
}

// POSIX has a name for the time, macOS another one.
template <typename Status> timespec ModifiedAt(const Status &status) {
    if constexpr (requires { status.st_mtim; }) {
        return status.st_mtim;
    } else {
        return status.st_mtimespec;
    }
}

template <typename Status> timespec ChangedAt(const Status &status) {
    if constexpr (requires { status.st_ctim; }) {
        return status.st_ctim;
    } else {
        return status.st_ctimespec;
    }
}

// `readStatus` runs after the clock has been read, so a change that it misses is later than that.
template <typename ReadStatus> std::optional<FileVersion> SettledVersionBy(ReadStatus readStatus) {
    timespec now{};
    struct stat status {};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0 || readStatus(status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    const FileVersion version{static_cast<std::uint64_t>(status.st_dev), status.st_ino, status.st_size,
                              Nanoseconds(ModifiedAt(status)), Nanoseconds(ChangedAt(status))};
    const std::int64_t tick = version.changedNs % kSecond == 0 ? kCoarsestTick : kLongestTick;
    return Nanoseconds(now) - version.changedNs > tick ? std::optional(version) : std::nullopt;
}

} // namespace

std::optional<FileVersion> SettledVersion(const char *path) {
    return SettledVersionBy([path](struct stat &status) { return stat(path, &status); });
}

std::optional<FileVersion> SettledVersion(int descriptor) {
    return SettledVersionBy([descriptor](struct stat &status) { return fstat(descriptor, &status); });
}

} // namespace base
