// Why a signed release was refused.
#pragma once

#include <string>
#include <utility>

#include "base/Result.h"

namespace delivery {

// The code of every base::Error that comes from this folder. The text names the file, what is wrong with it, and what
// to do.
enum class ReleaseFault {
    Unreachable = 1, // the file could not be fetched, for a reason that has nothing to do with its content
    NotFound,        // the server says that it has no such file
    TooLong,         // more bytes than the release or this program allows
    Malformed,       // not metadata of the kind that was asked for
    NotSigned,       // too few valid signatures
    Expired,
    Rollback,     // older than what was accepted before
    Mismatch,     // not the version, length or hash that the release lists
    NotInRelease, // the release has no such target
    NoRoot,       // no trusted root is saved
    Storage,      // the disk
};

[[nodiscard]] inline auto Refuse(ReleaseFault fault, std::string text) {
    return base::Fail(std::move(text), static_cast<int>(fault));
}

inline ReleaseFault FaultOf(const base::Error &error) {
    return static_cast<ReleaseFault>(error.code);
}

} // namespace delivery
