// Texts compared and copied without the locale: instruction files, file names and process names are the same
// everywhere.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace base {

constexpr char AsciiLower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

constexpr bool EqualsIgnoringCase(std::string_view left, std::string_view right) {
    return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(),
                                                     [](char a, char b) { return AsciiLower(a) == AsciiLower(b); });
}

// Copies as much of `text` as fits into `capacity` bytes, terminator included, and always terminates; nothing is
// written to null or to a capacity of 0.
inline void CopyBounded(char *out, std::size_t capacity, std::string_view text) {
    if (out && capacity > 0) {
        out[text.copy(out, capacity - 1)] = '\0';
    }
}

} // namespace base
