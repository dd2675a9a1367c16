#pragma once

#include <filesystem>

#include "host/Folders.h"

namespace lumhost {

// The bundle of the extension to load: `given`, or when that is empty the user's copy of this program's, which is made
// or refreshed here.
std::filesystem::path BundleToLoad(const std::filesystem::path &given, const Folders &folders);

} // namespace lumhost
