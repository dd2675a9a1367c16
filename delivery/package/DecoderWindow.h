// What the first and last bytes of a compressed file tell before it is unpacked. libarchive tells neither.
#pragma once

#include <cstdint>
#include <optional>

namespace delivery {

enum class Compression { Xz, Zstd, Lzma, Lzip, Gzip };

// The bytes of earlier output that the decoder of the open file keeps in memory (by its first frame or block); nothing
// when the file does not say it, or not in a way that makes sense.
std::optional<std::uint64_t> DecoderWindow(int file, Compression compression);

// The bytes that the open file unpacks to, when it says so: right for a sound file of one piece, otherwise a number to
// take no more seriously than for a look at the free space.
std::optional<std::uint64_t> UnpackedSize(int file, Compression compression);

} // namespace delivery
