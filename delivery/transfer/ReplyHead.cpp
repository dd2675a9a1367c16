#include "delivery/transfer/ReplyHead.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace delivery {

namespace {

// Takes a decimal number off the front of `text`.
std::optional<std::uint64_t> TakeNumber(std::string_view &text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool Take(std::string_view &text, std::string_view expected) {
    if (!text.starts_with(expected)) {
        return false;
    }
    text.remove_prefix(expected.size());
    return true;
}

// A field that stands twice is no field to rely on.
std::string Field(CURL *handle, const char *name) {
    curl_header *header = nullptr;
    if (curl_easy_header(handle, name, 0, CURLH_HEADER, -1, &header) != CURLHE_OK || header->amount != 1) {
        return {};
    }
    return header->value;
}

} // namespace

std::optional<ContentRange> ParseContentRange(std::string_view value) {
    if (!Take(value, "bytes ")) {
        return std::nullopt;
    }
    const auto first = TakeNumber(value);
    if (!first || !Take(value, "-")) {
        return std::nullopt;
    }
    const auto last = TakeNumber(value);
    if (!last || *last < *first || !Take(value, "/")) {
        return std::nullopt;
    }
    if (value == "*") {
        return ContentRange{*first, *last, std::nullopt};
    }
    const auto total = TakeNumber(value);
    if (!total || *total <= *last || !value.empty()) {
        return std::nullopt;
    }
    return ContentRange{*first, *last, total};
}

std::string StrongTag(std::string_view value) {
    if (value.size() < 3 || !value.starts_with('"') || !value.ends_with('"')) {
        return {};
    }
    for (const unsigned char c : value.substr(1, value.size() - 2)) {
        if (c < 0x21 || c == '"' || c == 0x7F) {
            return {};
        }
    }
    return std::string(value);
}

std::optional<std::chrono::milliseconds> ParseRetryAfter(std::string_view value, std::time_t now) {
    constexpr std::uint64_t longest = std::numeric_limits<std::int32_t>::max();
    if (value.empty()) {
        return std::nullopt;
    }
    std::string_view rest = value;
    if (const auto seconds = TakeNumber(rest); seconds && rest.empty()) {
        return std::chrono::seconds(std::min(*seconds, longest));
    }
    if (value.find_first_not_of("0123456789") == value.npos) { // too long for a number
        return std::chrono::seconds(longest);
    }
    const std::time_t date = curl_getdate(std::string(value).c_str(), nullptr);
    if (date == -1) {
        return std::nullopt;
    }
    return std::chrono::seconds(date > now ? std::min<std::uint64_t>(date - now, longest) : 0);
}

ReplyHead ReadReplyHead(CURL *handle) {
    ReplyHead head;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &head.status);
    curl_off_t length = -1;
    if (curl_easy_getinfo(handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length) == CURLE_OK && length >= 0) {
        head.length = static_cast<std::uint64_t>(length);
    }
    head.range = ParseContentRange(Field(handle, "Content-Range"));
    head.tag = Field(handle, "ETag");
    head.strongTag = StrongTag(head.tag);
    const std::time_t date = curl_getdate(Field(handle, "Date").c_str(), nullptr);
    head.date = date == -1 ? std::nullopt : std::optional(date);
    head.retryAfter = ParseRetryAfter(Field(handle, "Retry-After"), std::time(nullptr));
    return head;
}

} // namespace delivery
