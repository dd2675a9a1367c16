#include "site/publish/ComponentItem.h"

#include <string>
#include <utility>

#include "delivery/instructions/ItemLine.h"
#include "lum/common/lumutil.h"

namespace fs = std::filesystem;

namespace lumsite {

using delivery::VersionWithCommas;

namespace {

using base::Fail;
using base::Result;

// The version by which the extension would know the installed component, or empty when it could not tell.
std::string OwnVersion(const fs::path &component) {
    std::error_code error;
    if (fs::is_directory(component, error)) {
        std::string path = component;
        char version[1024] = "";
        return GetFileVersionString(path.data(), version, sizeof version) ? version : "";
    }
    const std::string name = component.filename();
    const std::size_t from = name.find('-');
    const std::size_t to = name.rfind('.');
    return from < to && to != std::string::npos ? VersionWithCommas(name.substr(from + 1, to - from - 1)) : "";
}

// The version under which visitors are offered the component.
Result<std::string> VersionOf(const ManifestComponent &component, base::Findings &warnings) {
    const bool isLibrary = component.name.ends_with(".dylib");
    const std::string own = isLibrary ? "" : OwnVersion(component.path);
    if (component.version.empty()) {
        if (VersionWithCommas(own).empty()) {
            return Fail(component.where + ": " + component.name +
                        " does not contain a version of four numbers; give \"version\" in the manifest");
        }
        return own;
    }
    if (isLibrary || component.update != "version" || own == component.version) {
        return component.version;
    }
    if (!own.empty()) {
        return Fail(component.where + ": " + component.name + " says that it is version " + own +
                    ", the manifest says " + component.version +
                    "; visitors would download it on every visit. Make them the same, or leave \"version\" out");
    }
    warnings.push_back(
        {base::Severity::Warning, component.where,
         "no version can be read from " + component.name + " once it is installed, so it is downloaded on every visit",
         "give it a CFBundleVersion in Contents/Info.plist and an executable of its name in Contents/MacOS, or use "
         "\"update\": \"existence\""});
    return component.version;
}

} // namespace

Result<ItemLine> DescribeComponent(const ManifestComponent &component, base::Findings &warnings) {
    std::error_code error;
    if (!fs::exists(component.path, error)) {
        return Fail(component.where + ": there is no " + component.path.string() +
                    "; paths start from the manifest's folder");
    }
    if (component.name.ends_with(".dylib") && !fs::is_regular_file(component.path, error)) {
        return Fail(component.where + ": " + component.path.string() + " is not a file, and a library must be one");
    }
    Result<std::string> version = VersionOf(component, warnings);
    if (!version) {
        return Fail(std::move(version.error()));
    }
    ItemLine item;
    item.name = component.name;
    item.target = component.target;
    item.version = std::move(*version);
    item.action = component.action;
    item.updateControl = component.update;
    item.failureControl = component.failure;
    item.osVersion = component.osVersion;
    item.hashMethod = component.hash;
    return item;
}

} // namespace lumsite
