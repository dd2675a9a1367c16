#include "delivery/package/ZipTable.h"

#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace delivery {

namespace {

using namespace std::string_view_literals;

constexpr std::uint64_t kEnd = 22;     // the record at the end, without its comment of at most 64 KiB
constexpr std::uint64_t kLocator = 20; // before it, in large files: where their record is
constexpr std::uint64_t kLargeEnd = 56;

std::string ReadAt(int file, std::uint64_t place, std::uint64_t size) {
    std::string bytes(size, '\0');
    const ssize_t got = pread(file, bytes.data(), size, static_cast<off_t>(place));
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
}

std::uint64_t Number(std::string_view bytes, std::size_t place, std::size_t size) {
    std::uint64_t number = 0;
    for (std::size_t i = size; i-- > 0;) {
        number = number << 8 | static_cast<unsigned char>(bytes[place + i]);
    }
    return number;
}

} // namespace

std::optional<std::uint64_t> ZipTableCount(int file, std::uint64_t size) {
    const std::uint64_t length = std::min<std::uint64_t>(size, kLocator + kEnd + 0xFFFF);
    const std::string tail = ReadAt(file, size - length, length);
    const std::size_t end = tail.rfind("PK\5\6"sv);
    if (end == std::string::npos || tail.size() - end < kEnd) {
        return std::nullopt;
    }
    const std::uint64_t count = Number(tail, end + 10, 2);
    if (end < kLocator || tail.compare(end - kLocator, 4, "PK\6\7"sv) != 0) {
        return count;
    }
    const std::string large = ReadAt(file, Number(tail, end - kLocator + 8, 8), kLargeEnd);
    return large.size() == kLargeEnd && large.starts_with("PK\6\6"sv) ? std::optional(Number(large, 32, 8)) : count;
}

} // namespace delivery
