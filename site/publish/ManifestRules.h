// What publish refuses before it has made anything.
#pragma once

#include <filesystem>

#include "base/Result.h"
#include "site/publish/Manifest.h"

namespace lumsite {

// Keys that visitors could download.
base::Result<void> RefuseKeysInside(const Manifest &manifest, const std::filesystem::path &site);

// Pages that would start nothing (StartRule.h).
base::Result<void> RefuseIdlePages(const Manifest &manifest);

} // namespace lumsite
