#include "site/publish/RetiredPackages.h"

#include "base/FolderNames.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Result;

Result<bool> IsOutdated(const fs::path &package, const std::set<std::string> &current, std::chrono::hours after) {
    const std::string name = package.filename();
    std::error_code error;
    if (name.front() == '.' || current.contains(name) || !fs::is_regular_file(fs::symlink_status(package, error))) {
        return false;
    }
    const fs::file_time_type time = fs::last_write_time(package, error);
    if (error) {
        return base::SystemFailure("cannot read the time of " + package.string(), error.value());
    }
    return time <= fs::file_time_type::clock::now() - after;
}

} // namespace

void MarkRetiredPackages(const fs::path &folder, const std::set<std::string> &current,
                         const std::vector<std::string> &urls) {
    const std::string prefix = folder.filename().string() + "/";
    std::error_code error;
    for (const std::string &url : urls) {
        const std::string name = url.starts_with(prefix) ? url.substr(prefix.size()) : "";
        if (!name.empty() && name.find('/') == std::string::npos && !current.contains(name) &&
            fs::exists(folder / name, error)) {
            fs::last_write_time(folder / name, fs::file_time_type::clock::now(), error);
        }
    }
}

Result<std::vector<std::string>> OutdatedPackages(const fs::path &folder, const std::set<std::string> &current,
                                                  std::chrono::hours after) {
    const Result<std::vector<std::string>> names = base::NamesIn(folder);
    if (!names) {
        return Fail(names.error());
    }
    std::vector<std::string> outdated;
    for (const std::string &name : *names) {
        const Result<bool> isOutdated = IsOutdated(folder / name, current, after);
        if (!isOutdated) {
            return Fail(isOutdated.error());
        }
        if (*isOutdated) {
            outdated.push_back(name);
        }
    }
    return outdated;
}

} // namespace lumsite
