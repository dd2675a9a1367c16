#include "base/Disk.h"

#include <cerrno>
#include <limits>
#include <system_error>

#include <sys/statvfs.h>

namespace base {

namespace {

std::uint64_t FreeSpaceIn(const struct statvfs &info, bool known) {
    return known ? static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize
                 : std::numeric_limits<std::uint64_t>::max();
}

} // namespace

std::uint64_t FreeSpace(const std::filesystem::path &folder) {
    struct statvfs info {};
    const bool known = statvfs(folder.c_str(), &info) == 0;
    return FreeSpaceIn(info, known);
}

std::uint64_t FreeSpace(int descriptor) {
    struct statvfs info {};
    const bool known = fstatvfs(descriptor, &info) == 0;
    return FreeSpaceIn(info, known);
}

std::string DiskErrorText(int error) {
    switch (error) {
    case ENOSPC:
    case EDQUOT:
        return "the disk is full";
    case EFBIG:
        return "the file is larger than may be written here";
    case EROFS:
        return "the disk can only be read";
    case EACCES:
    case EPERM:
        return "there is no permission to write";
    case ENOENT:
        return "its folder is missing";
    case ENOTDIR:
        return "there is a file where a folder should be";
    case EIO:
        return "the disk reports an error";
    case EMFILE:
    case ENFILE:
        return "too many files are open";
    default:
        return std::generic_category().message(error);
    }
}

} // namespace base
