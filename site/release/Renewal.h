// Signing timestamp and snapshot of a published release again, with nothing but the keys of these two.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/Finding.h"
#include "base/Result.h"
#include "delivery/release/Metadata.h"

namespace lumsite {

struct RenewResult {
    std::vector<std::string> written; // files below the site
    base::Findings findings;          // what will expire although it is renewed
};

// `keys`: a folder with release.json and online/ at least. The timestamp is signed in any case, the snapshot when half
// of its time is over. After a failure visitors find the release as it was.
base::Result<RenewResult> RenewRelease(const std::filesystem::path &keys, const std::filesystem::path &site,
                                       delivery::ReleaseTime now);

} // namespace lumsite
