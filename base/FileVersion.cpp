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

// `readStatus` runs after the clock has been read, so a change that it misses is later than that.
template <typename ReadStatus> std::optional<FileVersion> SettledVersionBy(ReadStatus readStatus) {
    timespec now{};
    struct stat status {};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0 || readStatus(status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    const FileVersion version{status.st_dev, status.st_ino, status.st_size, Nanoseconds(status.st_mtim),
                              Nanoseconds(status.st_ctim)};
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
