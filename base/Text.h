// Texts: compared and trimmed without the locale, numbers in them, and what comes from outside made fit to be shown.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "base/Utf8.h"

namespace base {

// ASCII letters only; other bytes stay as they are.
std::string Lower(std::string_view text);

// Space and the five ASCII characters from tab to carriage return.
constexpr bool IsBlank(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

// Without the blanks at both ends.
std::string_view Trim(std::string_view text);

// The whole text as a number, without a sign (but "-" for signed types) and without blanks. Nothing when it is not one
// or does not fit.
template <typename Number> std::optional<Number> ReadNumber(std::string_view text, int base = 10) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// Lower-case hexadecimal, two digits a byte.
std::string ToHex(std::string_view bytes);
// The bytes that two hexadecimal digits each, of either case, stand for. Nothing when it is anything else.
std::optional<std::string> FromHex(std::string_view hex);

// Base64 (RFC 4648, 4), with padding.
std::string ToBase64(std::string_view bytes);
// Nothing when it is not that, to the last bit; the empty text is.
std::optional<std::string> FromBase64(std::string_view text);

// Percent-encodes everything but ASCII letters, digits and "-._~" (RFC 3986, 2.3).
std::string PercentEncode(std::string_view text);
// Nothing when a "%" is not followed by two hexadecimal digits.
std::optional<std::string> PercentDecode(std::string_view text);

// One line without control characters: runs of white space become one space, other control characters "?". Bytes that
// are not UTF-8 become "?", so that the result may be shown anywhere.
std::string OneLine(std::string_view text);

// The text in quotes, fit for a message: cut when it is long, and with a "?" for each byte that is a control character
// or not UTF-8.
std::string Quoted(std::string_view text);

// "812 bytes", "12.3 MB"; a MB is a million bytes, as browsers show downloads.
std::string HumanBytes(std::uint64_t bytes);

} // namespace base
