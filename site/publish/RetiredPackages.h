// Packages that the instruction file no longer names. They stay for a while, because visitors may have an earlier one.
#pragma once

#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "base/Result.h"

namespace lumsite {

constexpr const char *kPackageFolder = "packages"; // in the published folder

constexpr int kKeepHours = 48; // a day of saved instruction files, and another for safety

// `folder` is that of the packages, whose name begins the URLs of those that earlier instruction files named; `current`
// are the names in it that the new instruction file uses.
//
// Those of `urls` that are not current are retired from now on: this becomes the time of their files. Errors are
// ignored, a package then stays longer or shorter.
void MarkRetiredPackages(const std::filesystem::path &folder, const std::set<std::string> &current,
                         const std::vector<std::string> &urls);

// The names of the packages that have been retired for this long.
base::Result<std::vector<std::string>> OutdatedPackages(const std::filesystem::path &folder,
                                                        const std::set<std::string> &current, std::chrono::hours after);

} // namespace lumsite
