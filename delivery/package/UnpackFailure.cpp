#include "delivery/package/UnpackFailure.h"

#include <errno.h>
#include <sys/resource.h>

#include "base/Text.h"
#include "base/Disk.h"

namespace delivery {

UnpackFailure WriteFailure(int error, std::string_view name) {
    std::string reason = base::Quoted(name) + " cannot be written: " + base::DiskErrorText(error);
    switch (error) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return {kUnpackNoSpace, reason};
    case EROFS:
    case EACCES:
    case EPERM:
    case ENOENT:
    case ENOTDIR:
        return {kUnpackNotWritable, reason};
    case ENAMETOOLONG:
        return {kUnpackRefusedEntry, reason};
    default:
        return {kUnpackInterrupted, reason};
    }
}

UnpackFailure MemoryFailure() {
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
        return {kUnpackTooLarge, "unpacking takes more memory than is allowed"};
    }
    return {kUnpackInterrupted, "there is not enough memory to unpack"};
}

} // namespace delivery
