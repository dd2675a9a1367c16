#import "lum/security/Decoders.h"

#include <gtest/gtest.h>

#import <Foundation/Foundation.h>

#import "lum/security/CryptoWrapper.h"

namespace {

std::string Bytes(NSData *data) {
    return {static_cast<const char *>([data bytes]), [data length]};
}

std::string Base64(NSString *text) {
    NSMutableData *data = [text base64Decode];
    [data appendData:[NSData data]]; // may be changed
    return Bytes(data);
}

TEST(Decoders, Base64) {
    EXPECT_EQ(Base64(@""), "");
    EXPECT_EQ(Base64(@"YQ=="), "a");
    EXPECT_EQ(Base64(@"YWI="), "ab");
    EXPECT_EQ(Base64(@"YWJj"), "abc");
    EXPECT_EQ(Base64(@"AAD/"), std::string("\0\0\xFF", 3));
    EXPECT_EQ(Base64(@"YWJj\n"), "abc");
}

// More than the chunks in which it is read, and lengths around their borders.
TEST(Decoders, LongBase64) {
    for (const int triples : {255, 256, 257, 341, 342, 5000}) {
        NSMutableString *text = [NSMutableString string];
        std::string expected;
        for (int i = 0; i < triples; ++i) {
            [text appendString:@"YWJj"];
            expected += "abc";
        }
        EXPECT_EQ(Base64(text), expected) << triples;
    }
}

// Damage ends the text, and a line break is damage.
TEST(Decoders, DamagedBase64) {
    EXPECT_EQ(Base64(@"YWJjYWJjYW"), "abcabc");
    for (NSString *text : {@"Y", @"YW", @"YWJ", @"Y-Jj", @"YW Jj", @" YWJj", @"YWJj\nYWJj", @"\u00e9YWJj"}) {
        EXPECT_EQ(Base64(text), "") << [text UTF8String];
    }
    EXPECT_EQ(DecodeBase64(std::string_view("YWJj\0YWJj", 9)), "");
}

TEST(Decoders, Hexadecimal) {
    EXPECT_EQ(Bytes([@"" decodeFromHexidecimal]), "");
    EXPECT_EQ(Bytes([@"0a1" decodeFromHexidecimal]), "\n");
    EXPECT_EQ(Bytes([@"00fFFf" decodeFromHexidecimal]), std::string("\0\xFF\xFF", 3));
    EXPECT_EQ(Bytes([@"1Gzz-1+2 3" decodeFromHexidecimal]), std::string("\1\0\xFF\2\3", 5));
    EXPECT_EQ(Bytes([@"\u00e9" decodeFromHexidecimal]), std::string("\0", 1)); // two bytes of UTF-8
    EXPECT_EQ(DecodeHexadecimal(std::string_view("4142\0"
                                                 "43",
                                                 7)),
              "AB");
    EXPECT_EQ(DecodeHexadecimal(std::string_view("414\0"
                                                 "43",
                                                 6)),
              "A");
}

TEST(Decoders, StrToChar) {
    EXPECT_EQ(strToChar('f', 'F'), 255);
    EXPECT_EQ(strToChar('0', '9'), 9);
    EXPECT_EQ(strToChar('G', '1'), 0);
    EXPECT_EQ(strToChar('1', 'G'), 1);
    EXPECT_EQ(strToChar('\0', '1'), 0);
}

} // namespace
