// The user's own copy of the extension's bundle: an installed program may be replaced while a start runs from it.
#pragma once

#include <filesystem>

#include "base/Result.h"
#include "host/Folders.h"

namespace lumhost {

// Atomically makes `copy` the same as `bundle`, unless it already is: compared by names, kinds and bytes. A process
// that runs from the old copy is not disturbed. After a failure the old copy is still there.
base::Result<void> RefreshCopy(const std::filesystem::path &bundle, const std::filesystem::path &copy);

// The bundle to load: `given` or, when that is empty, the user's copy of this program's, which is made or refreshed
// here. When that fails, this program's own, and the reason goes to standard error.
std::filesystem::path BundleToLoad(const std::filesystem::path &given, const Folders &folders);

} // namespace lumhost
