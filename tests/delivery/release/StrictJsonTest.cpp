#include "delivery/release/StrictJson.h"

#include <gmock/gmock.h>

namespace delivery {
namespace {

using testing::HasSubstr;

std::string Nested(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

TEST(StrictJson, CanonicalFormOfWhatIsRead) {
    struct {
        std::string text;
        std::string canonical;
    } const cases[] = {
        {R"( { "b" : [ 1 , -2 , true , null ] , "a" : { } , "c" : [ ] } )", R"({"a":{},"b":[1,-2,true,null],"c":[]})"},
        {R"({"v":9007199254740993,"w":18446744073709551615,"x":-9223372036854775808})",
         R"({"v":9007199254740993,"w":18446744073709551615,"x":-9223372036854775808})"},
        {R"(["\"\\\/\n\u0041\u007f"])", "[\"\\\"\\\\/\nA\x7f\"]"},
        {R"({"\u00e9":1,"z":2,"\ud83d\ude00":3,"\uffee":4,"Z":5})",
         "{\"Z\":5,\"z\":2,\"\xc3\xa9\":1,\"\xef\xbf\xae\":4,\"\xf0\x9f\x98\x80\":3}"}, // by code point, not by UTF-16
        {R"(["a\u0000b"])", std::string("[\"a\0b\"]", 7)},
        {Nested(32), Nested(32)},
    };
    for (const auto &c : cases) {
        const base::Result<Json::Value> value = ReadStrictJson(c.text);
        ASSERT_TRUE(value) << c.text << ": " << value.error().text;
        EXPECT_EQ(CanonicalJson(*value), c.canonical);
    }
}

TEST(StrictJson, WhatTwoReadersCouldTakeDifferentlyIsRefused) {
    struct {
        std::string text;
        const char *reason;
    } const cases[] = {
        {R"({"a":1,"a":1})", "Duplicate key"},
        {R"({"a":1,"\u0061":2})", "Duplicate key"},
        {"[1.0]", "not an integer"},
        {"[1e3]", "not an integer"},
        {"[-]", "malformed"},
        {"[007]", "malformed"},
        {"[18446744073709551616]", "too large"},
        {"[-9223372036854775809]", "too large"},
        {"[\"\xc0\xaf\"]", "UTF-8"},
        {"[\"\xed\xa0\x80\"]", "UTF-8"},
        {R"(["\ud800"])", "escape"},
        {R"(["\ud800\u0041"])", "escape"},
        {R"(["\udc00"])", "escape"},
        {R"(["\u12"])", "escape"},
        {R"(["\x"])", "not JSON"},
        {"[\"a\nb\"]", "control character"},
        {"[1] 2", "not JSON"},
        {"[1,]", "not JSON"},
        {"[/* 1 */]", "not JSON"},
        {"[NaN]", "not JSON"},
        {"['a']", "not JSON"},
        {"\xef\xbb\xbf[]", "not JSON"},
        {"1", "not JSON"},
        {"", "not JSON"},
        {"[\"a", "not JSON"},
        {"{\"a\":1", "not JSON"},
        {Nested(33), "nested too deeply"},
        {std::string(1'000'000, '['), "nested too deeply"},
        {"[" + std::string(300'000, ',') + "]", "too many values"},
    };
    for (const auto &c : cases) {
        const base::Result<Json::Value> value = ReadStrictJson(c.text);
        ASSERT_FALSE(value) << c.text.substr(0, 40);
        EXPECT_THAT(value.error().text, HasSubstr(c.reason)) << c.text.substr(0, 40);
    }
}

} // namespace
} // namespace delivery
