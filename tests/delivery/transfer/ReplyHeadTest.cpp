#include "delivery/transfer/ReplyHead.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>

namespace delivery {
namespace {

TEST(Reply, TellsWhatCanBeReliedOn) {
    EXPECT_EQ(ParseContentRange("bytes 5-9/10")->total, 10u);
    EXPECT_EQ(ParseContentRange("bytes 5-9/*")->last, 9u);
    for (const char *bad : {"", "bytes */10", "bytes 9-5/10", "bytes 5-10/10", "bytes 5-9/", "items 5-9/10",
                            "bytes 5-9/10x", "bytes -1-9/10", "bytes 99999999999999999999-9/10"}) {
        EXPECT_FALSE(ParseContentRange(bad)) << bad;
    }
    EXPECT_EQ(StrongTag("\"a-1\""), "\"a-1\"");
    for (const char *weak : {"W/\"a\"", "a", "\"\"", "\"a", "\"a b\"", "\"a\"b\"", ""}) {
        EXPECT_EQ(StrongTag(weak), "") << weak;
    }
    EXPECT_EQ(ParseRetryAfter("7", 0), std::chrono::seconds(7));
    EXPECT_EQ(ParseRetryAfter("Thu, 01 Jan 1970 00:00:10 GMT", 4), std::chrono::seconds(6));
    EXPECT_EQ(ParseRetryAfter("Thu, 01 Jan 1970 00:00:10 GMT", 40), std::chrono::seconds(0));
    EXPECT_GT(ParseRetryAfter("99999999999999999999999", 0), std::chrono::hours(1));
    EXPECT_FALSE(ParseRetryAfter("soon", 0));
}

} // namespace
} // namespace delivery
