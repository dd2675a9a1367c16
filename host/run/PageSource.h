// Gets a page: from a file, or over http and https with the same rules as every download.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "delivery/transfer/Transfers.h"
#include "base/Url.h"

namespace lumhost {

struct PageText {
    std::string html;
    std::optional<base::Url> address; // after redirects; nothing for a file
};

constexpr std::uint64_t kLargestPage = 4 << 20;

// `place` is an http or https address, a file: address or a path. Blocks; gives up early when `stopped` answers true
// (asked several times a second). Nothing, with one sentence in `error`, when there is no page to be had.
// `settings` are those of all transfers; size and folder are set here.
std::optional<PageText> GetPage(const std::string &place, delivery::TransferSettings settings,
                                const std::function<bool()> &stopped, std::string &error);

} // namespace lumhost
