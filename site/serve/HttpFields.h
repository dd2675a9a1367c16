// Values of the header fields that serving files needs.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace lumsite {

// A span of a file of `size` bytes.
struct ByteRange {
    std::uint64_t first = 0;
    std::uint64_t length = 0;
};
enum class RangeKind {
    Whole,        // no range asked for, or one that is to be ignored
    Part,         // `range` holds it
    Unsatisfiable // the file has nothing in it
};
// What "bytes=..." asks of a file. Several ranges at once are answered with the whole file.
RangeKind ParseRange(std::string_view header, std::uint64_t size, ByteRange &range);

// Whether a list of entity tags ("\"a\", W/\"b\"" or "*") holds this strong one. `weakCounts`: W/"a" matches "a".
bool HoldsTag(std::string_view list, std::string_view tag, bool weakCounts);

// "Sun, 06 Nov 1994 08:49:37 GMT".
std::string HttpDate(std::time_t time);

// The type that a file name's ending tells.
std::string_view ContentType(std::string_view name);

} // namespace lumsite
