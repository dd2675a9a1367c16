#include "delivery/package/MoveIntoPlace.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include "delivery/package/Unpacker.h"
#include "delivery/package/UnpackFailure.h"

namespace delivery {

namespace {

// Another process may put a component of the same name there, or take it away, at any moment: then the other way fits.
constexpr int kTries = 100;

bool IsUnsupported(int error) {
    return error == EINVAL || error == ENOSYS || error == ENOTSUP;
}

// True when done; false when what is there has just changed. `supported` becomes false when the system or the file
// system has no such operation.
bool Rename(int from, const std::string &name, int to, unsigned how, bool &supported) {
    if (renameat2(from, name.c_str(), to, name.c_str(), how) == 0) {
        return true;
    }
    supported = !IsUnsupported(errno);
    const int changed = how == RENAME_EXCHANGE ? ENOENT : EEXIST;
    if (supported && errno != changed) {
        throw WriteFailure(errno, name);
    }
    return false;
}

// True when done; false when another component has just been put there.
bool MoveInTwoSteps(int staging, int parent, const std::string &name, int number) {
    // Beside, so that a component of that name is not in the way.
    const std::string replaced = "../replaced" + std::to_string(number);
    if (renameat(parent, name.c_str(), staging, replaced.c_str()) != 0 && errno != ENOENT) {
        throw WriteFailure(errno, name);
    }
    if (renameat(staging, name.c_str(), parent, name.c_str()) == 0) {
        return true;
    }
    const int error = errno;
    if (error == ENOTEMPTY || error == EEXIST || error == EISDIR || error == ENOTDIR) {
        return false;
    }
    renameat(staging, replaced.c_str(), parent, name.c_str());
    throw WriteFailure(error, name);
}

} // namespace

void MoveIntoPlace(int staging, int parent, const std::string &name) {
    bool supported = true;
    for (int i = 0; i < kTries; ++i) {
        for (const unsigned how : {RENAME_EXCHANGE, RENAME_NOREPLACE}) {
            if (supported && Rename(staging, name, parent, how, supported)) {
                return;
            }
        }
        if (!supported && MoveInTwoSteps(staging, parent, name, i)) {
            return;
        }
    }
    throw WriteFailure(EBUSY, name);
}

} // namespace delivery
