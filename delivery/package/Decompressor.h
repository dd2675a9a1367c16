// Decompresses a stream within a limit of memory. The limit is the library's own, so it holds for every stream and
// frame of a file, not for its first one only.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "delivery/package/Compression.h"

namespace delivery {

class Decompressor {
public:
    virtual ~Decompressor() = default;

    // For Xz, Lzip, Lzma and Zstd; null for the others. A stream that wants a larger window than `maxWindow` fails.
    static std::unique_ptr<Decompressor> Make(Compression compression, std::uint64_t maxWindow);

    enum class Result { More, Damaged, TooLarge, NoMemory };
    // Takes bytes off the front of `in`, which is empty at the end of the file (`last`), and puts what they give at the
    // front of `out`, which it cuts to that. Nothing in `out` at the end of the file: everything has come.
    virtual Result Run(std::string_view &in, bool last, std::string_view &out) = 0;

protected:
    static constexpr std::size_t kOut = 1 << 18;
};

} // namespace delivery
