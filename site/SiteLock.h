// What changes a published folder does so alone.
#pragma once

#include <filesystem>

#include "base/Files.h"
#include "base/Result.h"

namespace lumsite {

// Fails with a text for the user when another lumsite has the folder.
base::Result<base::FileLock> LockSite(const std::filesystem::path &site);

} // namespace lumsite
