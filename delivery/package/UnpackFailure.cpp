#include "delivery/package/UnpackFailure.h"

#include <errno.h>

#include "delivery/package/Unpacker.h"
#include "base/Disk.h"

namespace delivery {

namespace {

// The bytes of the first character of `text`; 0 when it is a control character, or none that is well formed.
std::size_t PrintableLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80) {
        return first >= 0x20 && first != 0x7F;
    }
    const std::size_t size = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
    if (size == 0 || text.size() < size) {
        return 0;
    }
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    // C1 controls; longer than need be; half a pair; past the last character.
    const unsigned char second = byte(1);
    const bool odd = (first == 0xC2 && second < 0xA0) || (first == 0xE0 && second < 0xA0) ||
                     (first == 0xED && second >= 0xA0) || (first == 0xF0 && second < 0x90) ||
                     (first == 0xF4 && second >= 0x90);
    return odd ? 0 : size;
}

} // namespace

UnpackFailure WriteFailure(int error, std::string_view name) {
    std::string reason = Quoted(name) + " cannot be written: " + base::DiskErrorText(error);
    switch (error) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return {kUnpackNoSpace, reason};
    case EROFS:
    case EACCES:
    case EPERM:
    case ENOENT:
    case ENOTDIR:
        return {kUnpackNotWritable, reason};
    case ENAMETOOLONG:
        return {kUnpackRefusedEntry, reason};
    default:
        return {kUnpackInterrupted, reason};
    }
}

std::string Quoted(std::string_view name) {
    constexpr std::size_t longest = 200;
    std::string quoted = "\"";
    while (!name.empty() && quoted.size() <= longest) {
        const std::size_t size = PrintableLength(name);
        quoted += size > 0 ? name.substr(0, size) : "?";
        name.remove_prefix(size > 0 ? size : 1);
    }
    return quoted + (name.empty() ? "\"" : "...\"");
}

} // namespace delivery
