#include "delivery/package/DecoderWindow.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <vector>

namespace delivery {

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kHead = 64;
constexpr std::uint64_t kLongestIndex = 1 << 20;

Bytes ReadAt(int file, std::uint64_t place, std::size_t size) {
    Bytes bytes(size);
    const ssize_t got = pread(file, bytes.data(), size, static_cast<off_t>(place));
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
}

std::uint64_t FileSize(int file) {
    struct stat info;
    return fstat(file, &info) == 0 ? static_cast<std::uint64_t>(info.st_size) : 0;
}

std::uint64_t LittleEndian(const Bytes &bytes, std::size_t place, std::size_t size) {
    std::uint64_t number = 0;
    for (std::size_t i = size; i-- > 0;) {
        number = number << 8 | bytes[place + i];
    }
    return number;
}

// xz's numbers: seven bits a byte, the lowest first.
std::optional<std::uint64_t> TakeXzNumber(const Bytes &bytes, std::size_t &place) {
    std::uint64_t number = 0;
    for (unsigned shift = 0; shift < 63 && place < bytes.size(); shift += 7) {
        const unsigned char byte = bytes[place++];
        number |= std::uint64_t{byte & 0x7Fu} << shift;
        if (!(byte & 0x80)) {
            return number;
        }
    }
    return std::nullopt;
}

// The dictionary size in the first block's header: stream header (12), header size, flags, two optional sizes, then the
// filters, each an id, the size of its properties and these.
std::optional<std::uint64_t> XzWindow(const Bytes &head) {
    constexpr std::uint64_t lzma2 = 0x21;
    if (head.size() < 14 || head[12] == 0) {
        return std::nullopt;
    }
    const unsigned char flags = head[13];
    std::size_t place = 14;
    for (const int given : {0x40, 0x80}) {
        if ((flags & given) && !TakeXzNumber(head, place)) {
            return std::nullopt;
        }
    }
    for (int filters = (flags & 3) + 1; filters > 0; --filters) {
        const auto id = TakeXzNumber(head, place);
        const auto size = TakeXzNumber(head, place);
        if (!id || !size || *size >= head.size() - place) {
            return std::nullopt;
        }
        if (*id == lzma2 && *size == 1 && head[place] <= 40) {
            const unsigned bits = head[place];
            return bits == 40 ? 0xFFFFFFFFu : std::uint64_t{2u | (bits & 1u)} << (bits / 2 + 11);
        }
        place += *size;
    }
    return std::nullopt;
}

// The index at the end: a zero, the number of blocks, and for each its packed and its unpacked size; then a footer that
// says how long the index is.
std::optional<std::uint64_t> XzUnpackedSize(int file) {
    const std::uint64_t size = FileSize(file);
    const Bytes footer = size < 32 ? Bytes() : ReadAt(file, size - 12, 12);
    if (footer.size() < 12 || footer[10] != 'Y' || footer[11] != 'Z') {
        return std::nullopt;
    }
    const std::uint64_t length = (LittleEndian(footer, 4, 4) + 1) * 4;
    if (length > kLongestIndex || length + 24 > size) {
        return std::nullopt;
    }
    const Bytes index = ReadAt(file, size - 12 - length, length);
    std::size_t place = 1;
    const auto blocks = TakeXzNumber(index, place);
    if (!blocks || index[0] != 0) {
        return std::nullopt;
    }
    std::uint64_t sum = 0;
    for (std::uint64_t i = 0; i < *blocks; ++i) {
        const auto packed = TakeXzNumber(index, place);
        const auto unpacked = TakeXzNumber(index, place);
        if (!packed || !unpacked) {
            return std::nullopt;
        }
        sum += *unpacked;
    }
    return sum;
}

struct ZstdFrame {
    std::uint64_t window;
    std::optional<std::uint64_t> content;
};

// The frame header: magic (4), descriptor, window unless the frame is a single segment, dictionary id, content size.
std::optional<ZstdFrame> ReadZstdFrame(const Bytes &head) {
    if (head.size() < 18 || LittleEndian(head, 0, 4) != 0xFD2FB528) {
        return std::nullopt;
    }
    constexpr std::array<std::size_t, 4> idSizes{0, 1, 2, 4};
    const unsigned descriptor = head[4];
    const bool single = descriptor & 0x20;
    const unsigned sizeFlag = descriptor >> 6;
    std::size_t place = 5;
    ZstdFrame frame{0, std::nullopt};
    if (!single) {
        const unsigned window = head[place++];
        const std::uint64_t base = std::uint64_t{1} << (10 + (window >> 3));
        frame.window = base + base / 8 * (window & 7);
    }
    place += idSizes[descriptor & 3];
    if (single || sizeFlag > 0) {
        const std::size_t bytes = std::size_t{1} << sizeFlag;
        frame.content = LittleEndian(head, place, bytes) + (bytes == 2 ? 256 : 0);
    }
    if (single) {
        frame.window = *frame.content;
    }
    return frame;
}

std::optional<std::uint64_t> GzipUnpackedSize(int file) {
    constexpr std::uint64_t bestRatio = 1032; // what deflate can reach; more is not meant
    const std::uint64_t size = FileSize(file);
    const Bytes tail = size < 18 ? Bytes() : ReadAt(file, size - 4, 4);
    if (tail.size() < 4) {
        return std::nullopt;
    }
    const std::uint64_t unpacked = LittleEndian(tail, 0, 4);
    return unpacked / bestRatio <= size ? std::optional(unpacked) : std::nullopt;
}

} // namespace

std::optional<std::uint64_t> DecoderWindow(int file, Compression compression) {
    const Bytes head = ReadAt(file, 0, kHead);
    switch (compression) {
    case Compression::Xz:
        return XzWindow(head);
    case Compression::Zstd:
        if (const auto frame = ReadZstdFrame(head)) {
            return frame->window;
        }
        return std::nullopt;
    case Compression::Lzma:
        return head.size() < 13 ? std::nullopt : std::optional(LittleEndian(head, 1, 4));
    case Compression::Lzip:
        return head.size() < 6 ? std::nullopt : std::optional(std::uint64_t{1} << (head[5] & 0x1F));
    case Compression::Gzip:
        break;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> UnpackedSize(int file, Compression compression) {
    switch (compression) {
    case Compression::Xz:
        return XzUnpackedSize(file);
    case Compression::Zstd:
        if (const auto frame = ReadZstdFrame(ReadAt(file, 0, kHead))) {
            return frame->content;
        }
        return std::nullopt;
    case Compression::Gzip:
        return GzipUnpackedSize(file);
    case Compression::Lzma:
    case Compression::Lzip:
        break;
    }
    return std::nullopt;
}

} // namespace delivery
