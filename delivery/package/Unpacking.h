// A package turned into files below an open folder, under the rules of Unpacker.h.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>

#include "base/ScopedDescriptor.h"
#include "delivery/package/UnpackLimits.h"

namespace delivery {

struct UnpackOrder {
    int package; // a file that is open for reading, from its start; its position changes
    int staging; // an open, empty folder
    // The package must hold this, or, when it is empty, anything of one name.
    std::string component;
    UnpackLimits limits = {};
};

struct Unpacked {
    std::string component;   // the package's one top-level entry
    std::uint64_t bytes = 0; // of all files
};

// Unpacks in this process. The descriptors stay the caller's. Throws UnpackFailure and std::bad_alloc; then what has
// been made is still there.
Unpacked Unpack(const UnpackOrder &order);

// The same, wherever: in this process, or in one of its own (delivery/worker/UnpackWorker.h). After a request to stop,
// which may come from any thread, it ends soon: with its result, or with kUnpackInterrupted.
using UnpackStep = std::function<Unpacked(const UnpackOrder &order, const std::stop_token &stop)>;

// Opens a package for an order. Throws UnpackFailure.
base::ScopedDescriptor OpenPackage(const std::filesystem::path &package);

} // namespace delivery
