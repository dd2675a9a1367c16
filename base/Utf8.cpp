#include "base/Utf8.h"

#include <array>

namespace base {

namespace {

// By the first byte: how many bytes the character has, 0 when none begins so.
std::size_t LengthFrom(unsigned char first) {
    return first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
}

// The smallest code point that needs so many bytes.
constexpr std::array<char32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};

bool IsSurrogate(char32_t codePoint) {
    return codePoint >= 0xD800 && codePoint < 0xE000;
}

} // namespace

Utf8Character FirstCharacter(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const std::size_t length = LengthFrom(byte(0));
    if (length <= 1 || text.size() < length) {
        return length == 1 ? Utf8Character{1, byte(0)} : Utf8Character{};
    }
    char32_t codePoint = byte(0) & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return {};
        }
        codePoint = codePoint << 6 | (byte(i) & 0x3Fu);
    }
    if (codePoint < kSmallest[length] || codePoint > 0x10FFFF || IsSurrogate(codePoint)) {
        return {};
    }
    return {length, codePoint};
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = FirstCharacter(text).length;
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

} // namespace base
