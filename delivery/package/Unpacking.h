// A package turned into files below an open folder, under the rules of Unpacker.h.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

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

struct UnpackedFile {
    std::string path;   // below the staging folder; begins with the component
    std::string target; // of a symbolic link; empty for a file
    std::uint64_t size = 0;
    bool executable = false;
    std::optional<std::uint64_t> digest = {}; // XXH3 of what was written; nothing for links, and where it is not known
};

struct Unpacked {
    std::string component;   // the package's one top-level entry
    std::uint64_t bytes = 0; // of all files
    // And links, in the package's order. Empty when it is not known without reading them (a package with hard links).
    std::vector<UnpackedFile> files = {};
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
