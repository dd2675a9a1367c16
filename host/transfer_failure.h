// Why a try of a download failed, in words for a person, and whether another try may help.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "host/Url.h"
#include "host/transfer_reply.h"

namespace lumhost {

struct TransferFailure {
    std::string text; // "host: what happened. What to do."
    bool transient = false;
    std::optional<std::chrono::milliseconds> retryAfter; // what the server asked for
};

// The reply's status is no success and no redirect that is followed.
TransferFailure StatusFailure(const Url &url, const ReplyHead &reply);
// The exchange broke; `detail` is curl's own text, empty when it has none.
TransferFailure ExchangeFailure(const Url &url, CURLcode code, const std::string &detail);
TransferFailure Stalled(const Url &url);
// The reply is one that a sound server does not give to this request.
TransferFailure OddReply(const Url &url, const std::string &what);
TransferFailure TooLarge(const Url &url, std::uint64_t maxBytes);
TransferFailure NoRoom(const Url &url, std::uint64_t needed);
TransferFailure DiskFailure(const Url &url, int error);

} // namespace lumhost
