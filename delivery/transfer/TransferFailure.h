// Why a try of a download failed, in words for a person, and whether another try may help.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "base/Url.h"
#include "delivery/transfer/ReplyHead.h"

namespace delivery {

struct TransferFailure {
    std::string host;
    std::string cause;  // what happened, the rest of a sentence
    std::string remedy; // a sentence
    bool transient = false;
    std::optional<std::chrono::milliseconds> retryAfter; // what the server asked for

    // "host: what happened. What to do."
    std::string Text() const {
        return host + ": " + cause + ". " + remedy;
    }
};

// The reply's status is no success and no redirect that is followed. `proxy`: the one through which it came and which
// may have made it; empty when there is none.
TransferFailure StatusFailure(const base::Url &url, const ReplyHead &reply, const std::string &proxy);
// A proxy stands between and did not let the connection through: `status` is its answer, 0 when it cannot be reached.
TransferFailure ProxyFailure(const base::Url &url, const std::string &proxy, long status);
// The redirect is not followed; trying again does not help.
TransferFailure RedirectFailure(const base::Url &url, const std::string &cause);
// The exchange broke; `detail` is curl's own text, empty when it has none.
TransferFailure ExchangeFailure(const base::Url &url, CURLcode code, const std::string &detail);
TransferFailure Stalled(const base::Url &url);
// The reply is one that a sound server does not give to this request.
TransferFailure OddReply(const base::Url &url, const std::string &what);
TransferFailure EndlessHead(const base::Url &url);
TransferFailure TooLarge(const base::Url &url, std::uint64_t maxBytes);
// It is not the file that was expected; `what` says why.
TransferFailure OtherFile(const base::Url &url, const std::string &what);
TransferFailure NoRoom(const base::Url &url, std::uint64_t needed);
TransferFailure DiskFailure(const base::Url &url, int error);

} // namespace delivery
