#import "fuzzywindow/InstalledApplication.h"

#include <algorithm>
#include <string_view>

#import "fuzzywindow/PropertyListFile.h"
#import "base/objc/ScopedPool.h"

namespace {

constexpr std::string_view kInsideOfApplication = "/Contents/Info.plist";

// The name of the folder in which the application lies: the product version. It may be empty (FOLDER ends in "/"),
// which is the version of a page that names none.
bool FolderName(std::string_view plistPath, std::string &name) {
    if (!plistPath.ends_with(kInsideOfApplication)) {
        return false;
    }
    plistPath.remove_suffix(kInsideOfApplication.size());
    const auto endOfFolder = plistPath.rfind('/');
    if (endOfFolder == std::string_view::npos || endOfFolder == 0) {
        return false;
    }
    const std::string_view folder = plistPath.substr(0, endOfFolder);
    name = folder.substr(folder.rfind('/') + 1);
    return true;
}

std::string BundleVersion(const std::string &plistPath) {
    const base::ScopedPool pool;
    id version = [ReadPropertyList(plistPath) objectForKey:@"CFBundleVersion"];
    return [version isKindOfClass:[NSString class]] ? [version UTF8String] : "";
}

} // namespace

bool IsInstalled(const std::string &plistPath, const std::string &wanted) {
    std::string productVersion;
    if (wanted.empty() || !FolderName(plistPath, productVersion)) {
        return false;
    }
    std::string version = BundleVersion(plistPath);
    if (version.empty()) {
        return false;
    }
    std::replace(version.begin(), version.end(), '.', '_');
    return productVersion + "_" + version == wanted;
}
