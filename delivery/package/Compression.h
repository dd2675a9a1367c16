// How a package is compressed, and the size that it tells of.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace delivery {

enum class Compression { None, Gzip, Xz, Lzip, Lzma, Zstd }; // None: none, or one that no rule here is about

// By the first bytes of a file; 16 are enough.
Compression CompressionOf(std::string_view head);

// The bytes that the open file unpacks to, when it says so: right for a sound file of one piece, otherwise a number to
// take no more seriously than for a look at the free space.
std::optional<std::uint64_t> UnpackedSize(int file);

} // namespace delivery
