// How the steps of an installation fail: with this thrown, which Unpacker::Install turns into its result.
#pragma once

#include <string>
#include <string_view>

namespace delivery {

struct UnpackFailure {
    int code; // of UnpackCode
    std::string reason;
};

// The failure of a system call on `name`, which is being installed: full, not writable, or else the system's fault.
UnpackFailure WriteFailure(int error, std::string_view name);

} // namespace delivery
