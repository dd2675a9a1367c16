#include "base/Text.h"

#include <gtest/gtest.h>

#include "base/Ascii.h"

using namespace base;

TEST(Text, NumbersAreWholeTexts) {
    EXPECT_EQ(ReadNumber<int>("-12"), -12);
    EXPECT_EQ(ReadNumber<unsigned char>("255"), 255);
    EXPECT_EQ(ReadNumber<unsigned>("fF", 16), 255u);
    for (const char *text : {"", " 1", "1 ", "1a", "+1", "-", "0x1", "2147483648"}) {
        EXPECT_EQ(ReadNumber<int>(text), std::nullopt) << text;
    }
    EXPECT_EQ(ReadNumber<unsigned>("-1"), std::nullopt);
    EXPECT_EQ(ReadNumber<unsigned char>("256"), std::nullopt);
}

TEST(Text, BlanksAreCutAtBothEnds) {
    EXPECT_EQ(Trim(" \t\r\n\v\fa b\x1c \n"), "a b\x1c");
    EXPECT_EQ(Trim(" \t "), "");
    EXPECT_EQ(Trim("\u00a0a"), "\u00a0a") << "ASCII only";
}

TEST(Text, LettersOfAsciiHaveTwoCases) {
    EXPECT_EQ(Lower("AZ[`\u00c4"), "az[`\u00c4");
    EXPECT_TRUE(EqualsIgnoringCase("Az", "aZ"));
    EXPECT_FALSE(EqualsIgnoringCase("a", "ab"));
    EXPECT_FALSE(EqualsIgnoringCase("@[", "`{"));
}

TEST(Text, CopiesEndWhereTheRoomEnds) {
    char out[4] = "xxx";
    CopyBounded(out, 0, "abc");
    EXPECT_STREQ(out, "xxx");
    CopyBounded(out, sizeof out, "abcd");
    EXPECT_STREQ(out, "abc");
    CopyBounded(nullptr, 4, "abc");
}

TEST(Text, IsEncodedAndDecoded) {
    EXPECT_EQ(ToHex({"\x00\x7f\xff", 3}), "007fff");
    EXPECT_EQ(FromHex("007fFF"), std::string("\x00\x7f\xff", 3));
    for (const char *wrong : {"0", "0g", "+1", "0x", " 1"}) {
        EXPECT_FALSE(FromHex(wrong)) << wrong;
    }
    for (const auto &[bytes, text] :
         {std::pair("", ""), {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"\xff\xfe\xfd", "//79"}}) {
        EXPECT_EQ(ToBase64(bytes), text); // RFC 4648, 10
        EXPECT_EQ(FromBase64(text), bytes);
    }
    for (const char *wrong : {"Zg=", "Zg", "Zh==", "Z===", "====", "Zm 9v", "Zg==Zg=="}) {
        EXPECT_FALSE(FromBase64(wrong)) << wrong;
    }
    EXPECT_EQ(PercentEncode("a-._~ /\u00e4"), "a-._~%20%2F%C3%A4");
    struct {
        const char *text;
        std::optional<std::string> decoded;
    } const cases[] = {
        {"", ""},
        {"a%20b%2f%2F", "a b//"},
        {"%c3%A4", "\u00e4"},
        {"%00", std::string(1, '\0')},
        {"a+b", "a+b"},
        {"%", std::nullopt},
        {"%2", std::nullopt},
        {"%2g", std::nullopt},
        {"%-1", std::nullopt},
        {"% 1", std::nullopt},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(PercentDecode(c.text), c.decoded) << c.text;
    }
}

TEST(Text, IsMadeFitForOneLine) {
    struct {
        const char *text, *line;
    } const cases[] = {
        {"  a\t\nb \r\n c\n", "a b c"},
        {"\x1b[31m red", "?[31m red"},
        {"\xC2\x9Bx\u00e4", "?x\u00e4"}, // a control character of the second row
        {"\xFF\xC0 \u6771\xE6", "?? \u6771?"},
        {"\xED\xA0\x80", "???"},
        {" \n", ""},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(OneLine(c.text), c.line);
    }
}

TEST(Text, IsQuotedForAMessage) {
    EXPECT_EQ(Quoted("a \u6771"), "\"a \u6771\"");
    EXPECT_EQ(Quoted("a\nb\x1b\xC3\xC2\x85"), "\"a?b????\"");
    EXPECT_EQ(Quoted(std::string(200, 'a')), "\"" + std::string(200, 'a') + "\"");
    const std::string cut = Quoted(std::string(5000, 'a') + "\u6771");
    EXPECT_EQ(cut, "\"" + std::string(200, 'a') + "...\"");
    EXPECT_TRUE(IsUtf8(Quoted(std::string(199, 'a') + "\u6771\u6771"))) << "no character is cut in two";
}

TEST(Text, SizesAreForPeople) {
    struct {
        std::uint64_t bytes;
        const char *text;
    } const cases[] = {{0, "0 bytes"},
                       {999, "999 bytes"},
                       {1000, "1.0 kB"},
                       {999'949, "999.9 kB"},
                       {999'999, "1.0 MB"},
                       {4'294'967'296, "4.3 GB"},
                       {UINT64_MAX, "18446744.1 TB"}};
    for (const auto &c : cases) {
        EXPECT_EQ(HumanBytes(c.bytes), c.text);
    }
}
