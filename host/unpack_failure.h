// How the steps of an installation fail: with this thrown, which InstallPackage turns into its result.
#pragma once

#include <string>
#include <string_view>

namespace lumhost {

struct UnpackFailure {
    int code; // of UnpackCode
    std::string reason;
};

// The failure of a system call on `name`, which is being installed: full, not writable, or else the system's fault.
UnpackFailure WriteFailure(int error, std::string_view name);

// A name out of an archive, fit for a message: in quotes, control characters replaced, cut when long.
std::string Quoted(std::string_view name);

} // namespace lumhost
