#include "host/unpack_failure.h"

#include <errno.h>

#include "host/Unpacker.h"
#include "host/transfer_file.h"

namespace lumhost {

UnpackFailure WriteFailure(int error, std::string_view name) {
    std::string reason = Quoted(name) + " cannot be written: " + DiskErrorText(error);
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
    for (const unsigned char c : name.substr(0, longest)) {
        quoted += c < 0x20 || c == 0x7F ? '?' : static_cast<char>(c);
    }
    return quoted + (name.size() > longest ? "...\"" : "\"");
}

} // namespace lumhost
