// Gets a page: from a file, or over http and https by the rules of every download.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "base/Result.h"
#include "base/Url.h"
#include "delivery/transfer/Transfers.h"
#include "host/Folders.h"

namespace lumhost {

struct PageText {
    std::string html;
    std::optional<base::Url> address; // after redirects; nothing for a file
};

constexpr std::uint64_t kLargestPage = 4 << 20;

// `place` is an http or https address, a file: address or a path. Blocks; gives up early when `stopped` answers true,
// which is asked several times a second.
base::Result<PageText> GetPage(const std::string &place, const Folders &folders, const std::function<bool()> &stopped);

// What all downloads of this program have in common: the folder they are written to, and the user agent.
delivery::TransferSettings SettingsOfTransfers(const Folders &folders);

} // namespace lumhost
