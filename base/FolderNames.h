// What is in a folder. Any thread.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/Result.h"

namespace base {

// The names in `folder`, sorted by their bytes, hidden ones included; "." and ".." are left out.
Result<std::vector<std::string>> NamesIn(const std::filesystem::path &folder);

} // namespace base
