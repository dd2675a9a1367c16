// Publishing: packages, instruction file and pages from a manifest, in an order that is safe for visitors at any
// moment.
//
//   1. Packages are written below packages/, each under a name that no other content ever has.
//   2. "lummac.ini" is replaced in one step. Visitors with the older one still find its packages.
//   3. Pages are replaced in one step.
//   4. A signed release, whose targets and metadata were written before the second step, is switched to
//   (ReleaseUpdate.h).
//   5. With pruning, packages that no instruction file has named for some time are removed. The time matters: a
//      visitor's extension may use a saved instruction file for a day.
//
// The same manifest and components give the same bytes, but for the signatures and dates of a release. A file whose
// content would not change is left alone.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/Finding.h"
#include "base/Result.h"
#include "delivery/release/Metadata.h"
#include "site/publish/Manifest.h"
#include "site/publish/RetiredPackages.h"

namespace lumsite {

struct PublishOptions {
    std::optional<int> pruneAfterHours;       // nothing is removed without
    bool replaceKeys = false;                 // let a section be signed by another key than before
    bool sameVersion = false;                 // let a component have other content than before under the same version
    std::optional<delivery::ReleaseTime> now; // nothing: the clock of this computer
    // Called before every step that changes the published folder, and once after the last. For tests.
    std::function<void(const std::string &step)> checkpoint;
};

struct PublishedItem {
    std::string name;
    std::string package;          // path below the site
    bool written;                 // false: the package existed already
    std::string installedLibrary; // the name under which the extension keeps it, when it is a library
};

struct PublishResult {
    std::vector<PublishedItem> items;
    std::vector<std::string> written; // instruction file and pages that changed
    std::vector<std::string> removed; // pruned packages
    base::Findings findings;          // warnings
};

// Publishes to the folder `site`, which is made when it is missing. After a failure visitors find the site as it was.
base::Result<PublishResult> Publish(const Manifest &manifest, const std::filesystem::path &site,
                                    const PublishOptions &options = {});

} // namespace lumsite
