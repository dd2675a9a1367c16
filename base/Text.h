// Texts for people: what comes from a page or a package is made fit for a terminal before it is shown there.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace base {

// ASCII only; other bytes stay as they are.
std::string Lower(std::string_view text);

// One line without control characters: runs of white space become one space, other control characters "?". Bytes that
// are no UTF-8 become "?", so that the result may stand anywhere.
std::string OneLine(std::string_view text);

bool IsUtf8(std::string_view text);

// "812 bytes", "12.3 MB"; a MB is a million bytes, as downloads are told everywhere.
std::string HumanBytes(std::uint64_t bytes);

// Percent-encodes everything but ASCII letters, digits and "-._~".
std::string PercentEncode(std::string_view text);

} // namespace base
