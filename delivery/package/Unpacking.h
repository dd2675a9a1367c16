// A package turned into files below an open folder, under the rules of Unpacker.h.
#pragma once

#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <string>

#include "delivery/package/Unpacker.h"

namespace delivery {

struct Unpacked {
    std::string component;   // the package's one top-level entry
    std::uint64_t bytes = 0; // of all files
};

// Unpacks `package` into the empty folder that is open as `staging`; `disk` is a path on its file system. The package
// must hold `component`, or, when that is empty, anything of one name. Throws UnpackFailure and std::bad_alloc; then
// what has been made is still there.
Unpacked Unpack(const std::filesystem::path &package, int staging, const std::filesystem::path &disk,
                const std::string &component, const UnpackLimits &limits, const std::stop_token &stop);

} // namespace delivery
