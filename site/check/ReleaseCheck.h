// A signed release as its visitors meet it: one who comes for the first time, one who has the first root, and one whose
// saved metadata is at hand.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/Finding.h"
#include "delivery/release/Metadata.h"
#include "site/check/SiteSource.h"

namespace lumsite {

struct ReleaseCheckOptions {
    std::filesystem::path root;    // a root file that visitors trust; empty: the site's own
    std::filesystem::path visitor; // the folder of a visitor, kept from check to check; empty: none
    int soonDays = 30;             // an expiry of root or targets nearer than that is a warning
    delivery::ReleaseTime now;
};

// `instructions`: the instruction file that visitors without the release get; `packages`: the paths of the packages
// that it names. Nothing is reported of a site without a release, unless a root is given.
base::Findings ExamineRelease(SiteSource &source, const std::string &instructions,
                              const std::vector<std::string> &packages, const ReleaseCheckOptions &options);

} // namespace lumsite
