#include "base/Text.h"

#include <array>
#include <cstdio>

namespace base {

namespace {

// The length of the UTF-8 sequence at the start of `text`, 0 when there is none (or one that is overlong, a surrogate
// or past the last code point).
std::size_t SequenceLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const unsigned char second = byte(1);
    const bool bad = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                     (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
    return bad ? 0 : length;
}

bool IsSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

} // namespace

std::string Lower(std::string_view text) {
    std::string result(text);
    for (char &c : result) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return result;
}

std::string OneLine(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        std::size_t length = SequenceLength(text);
        const unsigned char first = static_cast<unsigned char>(text[0]);
        // The second row of control characters, too: a terminal obeys them as it does escape sequences.
        const bool second = length == 2 && first == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0;
        if (IsSpace(text[0])) {
            if (!line.empty() && line.back() != ' ') {
                line += ' ';
            }
            length = 1;
        } else if (length == 0 || first < 0x20 || first == 0x7F || second) {
            line += '?';
            length = length == 0 ? 1 : length;
        } else {
            line += text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    if (!line.empty() && line.back() == ' ') {
        line.pop_back();
    }
    return line;
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = SequenceLength(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
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

std::string PercentEncode(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (const char c : text) {
        const bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
                           c == '.' || c == '_' || c == '~';
        if (plain) {
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

} // namespace base
