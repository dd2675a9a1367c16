#include "delivery/package/Compression.h"

#include <lzma.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zstd.h>

#include <memory>
#include <string>

namespace delivery {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kHead = 64;
constexpr std::uint64_t kLargestIndex = 1 << 20;

std::string ReadAt(int file, std::uint64_t place, std::size_t size) {
    std::string bytes(size, '\0');
    const ssize_t got = pread(file, bytes.data(), size, static_cast<off_t>(place));
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
}

const std::uint8_t *Bytes(const std::string &text) {
    return reinterpret_cast<const std::uint8_t *>(text.data());
}

std::uint64_t LittleEndian(std::string_view bytes) {
    std::uint64_t number = 0;
    while (!bytes.empty()) {
        number = number << 8 | static_cast<unsigned char>(bytes.back());
        bytes.remove_suffix(1);
    }
    return number;
}

std::optional<std::uint64_t> GzipSize(int file, std::uint64_t size) {
    constexpr std::uint64_t kBestRatio = 1032; // of deflate; a larger number is not meant
    const std::uint64_t unpacked = LittleEndian(ReadAt(file, size - 4, 4));
    return unpacked / kBestRatio <= size ? std::optional(unpacked) : std::nullopt;
}

struct FreeIndex {
    void operator()(lzma_index *index) const {
        lzma_index_end(index, nullptr);
    }
};

// Of the last stream, from the index before its footer.
std::optional<std::uint64_t> XzSize(int file, std::uint64_t size) {
    const std::string footer = ReadAt(file, size - LZMA_STREAM_HEADER_SIZE, LZMA_STREAM_HEADER_SIZE);
    lzma_stream_flags flags;
    if (footer.size() < LZMA_STREAM_HEADER_SIZE || lzma_stream_footer_decode(&flags, Bytes(footer)) != LZMA_OK ||
        flags.backward_size > kLargestIndex || flags.backward_size + LZMA_STREAM_HEADER_SIZE > size) {
        return std::nullopt;
    }
    const std::string text = ReadAt(file, size - LZMA_STREAM_HEADER_SIZE - flags.backward_size, flags.backward_size);
    lzma_index *raw = nullptr;
    std::uint64_t memory = kLargestIndex * 32;
    std::size_t place = 0;
    if (lzma_index_buffer_decode(&raw, &memory, nullptr, Bytes(text), &place, text.size()) != LZMA_OK) {
        return std::nullopt;
    }
    const std::unique_ptr<lzma_index, FreeIndex> index(raw);
    return lzma_index_uncompressed_size(index.get());
}

} // namespace

Compression CompressionOf(std::string_view head) {
    if (head.starts_with("\x1f\x8b"sv)) {
        return Compression::Gzip;
    }
    if (head.starts_with("\xfd"
                         "7zXZ\0"sv)) {
        return Compression::Xz;
    }
    if (head.starts_with("LZIP"sv)) {
        return Compression::Lzip;
    }
    if (head.starts_with("\x28\xb5\x2f\xfd"sv)) {
        return Compression::Zstd;
    }
    return head.starts_with("\x5d\0\0"sv) ? Compression::Lzma : Compression::None;
}

std::optional<std::uint64_t> UnpackedSize(int file) {
    struct stat info;
    const std::string head = ReadAt(file, 0, kHead);
    if (fstat(file, &info) != 0 || info.st_size < 18) {
        return std::nullopt;
    }
    const auto size = static_cast<std::uint64_t>(info.st_size);
    switch (CompressionOf(head)) {
    case Compression::Gzip:
        return GzipSize(file, size);
    case Compression::Xz:
        return XzSize(file, size);
    case Compression::Zstd: {
        const unsigned long long content = ZSTD_getFrameContentSize(head.data(), head.size());
        return content < ZSTD_CONTENTSIZE_ERROR ? std::optional<std::uint64_t>(content) : std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

} // namespace delivery
