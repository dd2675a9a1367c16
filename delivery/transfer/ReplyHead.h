// What the head of an HTTP reply says, as far as a download needs it.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace delivery {

// "bytes 100-199/1000": which part of the whole file a 206 reply holds.
struct ContentRange {
    std::uint64_t first;
    std::uint64_t last;
    std::optional<std::uint64_t> total; // nothing for "*"
};
std::optional<ContentRange> ParseContentRange(std::string_view value);

// The value itself when it is a strong entity tag ("\"abc\""), which promises that not one byte differs; else empty. A
// weak one (W/"abc") promises less, and a date (Last-Modified) still less.
std::string StrongTag(std::string_view value);

// Seconds, or a date: the pause from `now`; nothing when it is neither, zero when it is past.
std::optional<std::chrono::milliseconds> ParseRetryAfter(std::string_view value, std::time_t now);

struct ReplyHead {
    long status = 0;
    std::optional<std::uint64_t> length; // of the body
    std::optional<ContentRange> range;
    std::string tag;                 // as sent
    std::string strongTag;           // the same when it is a strong one
    std::optional<std::time_t> date; // the server's clock
    std::optional<std::chrono::milliseconds> retryAfter;
};

// The head of the reply that `handle` is receiving or has received.
ReplyHead ReadReplyHead(CURL *handle);

} // namespace delivery
