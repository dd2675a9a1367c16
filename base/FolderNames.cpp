#include "base/FolderNames.h"

#include <algorithm>

namespace base {

Result<std::vector<std::string>> NamesIn(const std::filesystem::path &folder) {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        names.push_back(entry->path().filename());
    }
    if (error) {
        return SystemFailure("cannot read the folder " + folder.string(), error.value());
    }
    std::ranges::sort(names);
    return names;
}

} // namespace base
