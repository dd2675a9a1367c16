#include "delivery/package/MoveIntoPlace.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include "delivery/package/Unpacker.h"
#include "delivery/package/UnpackFailure.h"

namespace delivery {

namespace {

constexpr char kReplaced[] = "../replaced"; // beside, so that a component of that name is not in the way

bool Unsupported(int error) {
    return error == EINVAL || error == ENOSYS || error == ENOTSUP;
}

// True when done; false when the system or the file system has no such operation.
bool Rename(int from, const std::string &name, int to, unsigned how) {
    if (renameat2(from, name.c_str(), to, name.c_str(), how) == 0) {
        return true;
    }
    if (Unsupported(errno)) {
        return false;
    }
    throw WriteFailure(errno, name);
}

void MoveInTwoSteps(int staging, int parent, const std::string &name) {
    if (renameat(parent, name.c_str(), staging, kReplaced) != 0 && errno != ENOENT) {
        throw WriteFailure(errno, name);
    }
    if (renameat(staging, name.c_str(), parent, name.c_str()) != 0) {
        const int error = errno;
        renameat(staging, kReplaced, parent, name.c_str());
        throw WriteFailure(error, name);
    }
}

} // namespace

void MoveIntoPlace(int staging, int parent, const std::string &name) {
    const bool replace = faccessat(parent, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    if (!Rename(staging, name, parent, replace ? RENAME_EXCHANGE : RENAME_NOREPLACE)) {
        MoveInTwoSteps(staging, parent, name);
    }
}

} // namespace delivery
