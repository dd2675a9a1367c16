// Whether something is at a path.
#pragma once

#include <sys/stat.h>

namespace base {

// Something is there, be it a link that points nowhere.
inline bool IsPresent(const char *path) {
    struct stat status {};
    return lstat(path, &status) == 0;
}

// Something is there, a link's target where it is a link.
inline bool Resolves(const char *path) {
    struct stat status {};
    return stat(path, &status) == 0;
}

} // namespace base
