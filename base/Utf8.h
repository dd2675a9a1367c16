// UTF-8 as RFC 3629 has it: overlong forms, surrogates and code points past U+10FFFF are not UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace base {

struct Utf8Character {
    std::size_t length = 0; // in bytes; 0 when the text does not begin with a well-formed character
    char32_t codePoint = 0;

    // Whether a terminal shows it instead of obeying it: neither a C0 nor a C1 control character, nor DEL.
    bool IsPrintable() const {
        return length > 0 && codePoint >= 0x20 && !(codePoint >= 0x7F && codePoint < 0xA0);
    }
};

// The first character of `text`; one without length when `text` is empty.
Utf8Character FirstCharacter(std::string_view text);

bool IsUtf8(std::string_view text);

} // namespace base
