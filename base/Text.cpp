#include "base/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "base/Ascii.h"

namespace base {

namespace {

constexpr std::size_t kLongestQuoted = 200;
constexpr std::string_view kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool IsUnreserved(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

} // namespace

std::string Lower(std::string_view text) {
    std::string result(text);
    for (char &c : result) {
        c = AsciiLower(c);
    }
    return result;
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::string ToHex(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string hex;
    hex.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        const unsigned char byte = static_cast<unsigned char>(c);
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 15];
    }
    return hex;
}

std::optional<std::string> FromHex(std::string_view hex) {
    std::string bytes;
    for (; hex.size() >= 2; hex.remove_prefix(2)) {
        const std::optional<unsigned> byte = ReadNumber<unsigned>(hex.substr(0, 2), 16);
        if (!byte) {
            return std::nullopt;
        }
        bytes += static_cast<char>(*byte);
    }
    return hex.empty() ? std::optional(bytes) : std::nullopt;
}

std::string ToBase64(std::string_view bytes) {
    std::string text;
    for (; !bytes.empty(); bytes.remove_prefix(std::min<std::size_t>(bytes.size(), 3))) {
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= bytes.size() ? kBase64[group >> (18 - 6 * i) & 63] : '=';
        }
    }
    return text;
}

std::optional<std::string> FromBase64(std::string_view text) {
    std::string bytes;
    std::uint32_t group = 0;
    int bits = 0;
    for (const char c : text.substr(0, text.find('='))) {
        const std::size_t digit = kBase64.find(c);
        if (digit == std::string_view::npos) {
            return std::nullopt;
        }
        group = group << 6 | static_cast<std::uint32_t>(digit);
        if ((bits += 6) >= 8) {
            bits -= 8;
            bytes += static_cast<char>(group >> bits & 0xff);
        }
    }
    return ToBase64(bytes) == text ? std::optional(bytes) : std::nullopt;
}

std::string PercentEncode(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (const char c : text) {
        if (IsUnreserved(c)) {
            encoded += c;
            continue;
        }
        const unsigned char byte = static_cast<unsigned char>(c);
        encoded += '%';
        encoded += kDigits[byte >> 4];
        encoded += kDigits[byte & 15];
    }
    return encoded;
}

std::optional<std::string> PercentDecode(std::string_view text) {
    std::string decoded;
    while (!text.empty()) {
        if (text.front() != '%') {
            decoded += text.front();
            text.remove_prefix(1);
            continue;
        }
        const std::optional<unsigned> byte =
            text.size() < 3 ? std::nullopt : ReadNumber<unsigned>(text.substr(1, 2), 16);
        if (!byte) {
            return std::nullopt;
        }
        decoded += static_cast<char>(*byte);
        text.remove_prefix(3);
    }
    return decoded;
}

std::string OneLine(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        const Utf8Character character = FirstCharacter(text);
        const std::size_t length = character.length > 0 ? character.length : 1;
        if (IsBlank(text.front())) {
            if (!line.empty() && line.back() != ' ') {
                line += ' ';
            }
        } else {
            line += character.IsPrintable() ? text.substr(0, length) : "?";
        }
        text.remove_prefix(length);
    }
    if (!line.empty() && line.back() == ' ') {
        line.pop_back();
    }
    return line;
}

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    while (!text.empty() && quoted.size() <= kLongestQuoted) {
        const Utf8Character character = FirstCharacter(text);
        quoted += character.IsPrintable() ? text.substr(0, character.length) : "?";
        text.remove_prefix(character.IsPrintable() ? character.length : 1);
    }
    return quoted + (text.empty() ? "\"" : "...\"");
}

std::string HumanBytes(std::uint64_t bytes) {
    constexpr std::array<const char *, 4> kUnits = {"kB", "MB", "GB", "TB"};
    if (bytes < 1000) {
        return std::to_string(bytes) + " bytes";
    }
    double amount = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    while (amount >= 999.95 && unit + 1 < kUnits.size()) {
        amount /= 1000;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", amount, kUnits[unit]);
    return text.data();
}

} // namespace base
