// The part of HTTP/1.1 that serving files needs: reading a request's head, writing a reply's.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace lumsite {

struct HttpRequest {
    std::string method;
    std::string target; // as sent: path and query, percent-encoded
    bool version11 = true;
    std::map<std::string, std::string> headers; // names in small letters

    // The header's value, or empty.
    std::string_view Header(const std::string &name) const;
    bool WantsToGoOn() const; // another request may follow on the connection
    bool HasBody() const;
};

// The request of a head ("GET / HTTP/1.1\r\n...\r\n\r\n"), or nothing when it is malformed.
std::optional<HttpRequest> ParseRequest(std::string_view head);

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

std::string_view ReasonOf(int status);

} // namespace lumsite
