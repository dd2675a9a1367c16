// What needs no text engine.
#include "fuzzywindow/TextPicture.h"

#include <algorithm>

#include "base/Utf8.h"

namespace {

bool IsIn(char32_t character, char32_t first, char32_t last) {
    return character >= first && character <= last;
}

bool BreaksLine(const base::Utf8Character &character) {
    return !character.IsPrintable() || character.codePoint == 0x2028 || character.codePoint == 0x2029;
}

} // namespace

std::string OneParagraph(std::string_view text) {
    std::string paragraph;
    while (!text.empty()) {
        const base::Utf8Character character = base::FirstCharacter(text);
        const std::size_t length = std::max<std::size_t>(character.length, 1);
        if (character.length == 0) {
            paragraph += "\uFFFD";
        } else {
            paragraph += BreaksLine(character) ? std::string_view(" ") : text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    return paragraph;
}

std::string Isolated(const std::string &text) {
    return text.empty() ? text : "\u2068" + text + "\u2069";
}

std::string_view EastAsianLanguage(std::string_view text) {
    bool han = false;
    while (!text.empty()) {
        const base::Utf8Character character = base::FirstCharacter(text);
        if (IsIn(character.codePoint, 0x3040, 0x30FF)) {
            return "ja";
        }
        if (IsIn(character.codePoint, 0xAC00, 0xD7A3)) {
            return "ko";
        }
        han = han || IsIn(character.codePoint, 0x4E00, 0x9FFF);
        text.remove_prefix(std::max<std::size_t>(character.length, 1));
    }
    return han ? "zh-cn" : "";
}
