#include "base/Utf8.h"

#include <gtest/gtest.h>

using base::FirstCharacter;
using base::IsUtf8;

TEST(Utf8, TellsGoodFromBad) {
    struct {
        std::string_view text;
        std::size_t length; // of the first character, 0: none
        bool printable;
    } const cases[] = {
        {"", 0, false},
        {{"\0", 1}, 1, false},
        {"a", 1, true},
        {"\x7F", 1, false},
        {"\xC2\x80", 2, false}, // the first and the last of the C1 controls
        {"\xC2\x9F", 2, false},
        {"\xC2\xA0", 2, true},
        {"\xDF\xBF", 2, true},
        {"\xE0\xA0\x80", 3, true}, // the smallest of three bytes
        {"\xED\x9F\xBF", 3, true}, // around the surrogates
        {"\xEE\x80\x80", 3, true},
        {"\xF0\x90\x80\x80", 4, true},
        {"\xF4\x8F\xBF\xBF", 4, true}, // U+10FFFF
        // longer than needed
        {"\xC0\x80", 0, false},
        {"\xC1\xBF", 0, false},
        {"\xE0\x80\x80", 0, false},
        {"\xE0\x9F\xBF", 0, false},
        {"\xF0\x8F\xBF\xBF", 0, false},
        // surrogates, past U+10FFFF, no first byte
        {"\xED\xA0\x80", 0, false},
        {"\xED\xBF\xBF", 0, false},
        {"\xF4\x90\x80\x80", 0, false},
        {"\xF7\xBF\xBF\xBF", 0, false},
        {"\xF8\x88\x80\x80\x80", 0, false},
        {"\x80", 0, false},
        {"\xFF", 0, false},
        // cut short, or something else in the middle
        {"\xC3", 0, false},
        {"\xE6\x9D", 0, false},
        {"\xF0\x9F\x98", 0, false},
        {"\xE6\x41\x80", 0, false},
        {"\xE6\x9D\xC3", 0, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.text));
        EXPECT_EQ(FirstCharacter(c.text).length, c.length);
        EXPECT_EQ(FirstCharacter(c.text).IsPrintable(), c.printable);
        EXPECT_EQ(IsUtf8(c.text), c.length > 0 || c.text.empty());
        const std::string inside = "x" + std::string(c.text) + "y";
        EXPECT_EQ(IsUtf8(inside), c.length > 0 || c.text.empty());
    }
    EXPECT_EQ(FirstCharacter("\xF0\x9F\x98\x80z").codePoint, U'\U0001F600');
}
