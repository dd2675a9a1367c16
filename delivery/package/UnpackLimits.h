#pragma once

#include <cstdint>

namespace delivery {

struct UnpackLimits {
    std::uint64_t maxBytes = std::uint64_t{8} << 30; // of all files together, unpacked
    std::uint64_t maxEntries = 200'000;              // files, folders and links
    // What the package's compression (xz, zstd, lzma, lzip) may keep in memory, for any of its streams. libarchive
    // offers no such limit within zip, 7z and rar archives; the process that unpacks has one of its own for all its
    // memory.
    std::uint64_t maxWindow = std::uint64_t{64} << 20;

    bool operator==(const UnpackLimits &) const = default;
};

} // namespace delivery
