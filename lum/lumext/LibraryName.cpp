#include "lum/lumext/LibraryName.h"

#include <algorithm>

namespace {

constexpr char kLibraryExtension[] = "dylib";

std::string ExtensionOf(const std::string &name) {
    const std::string::size_type dot = name.rfind('.');
    return dot == std::string::npos ? kLibraryExtension : name.substr(dot + 1);
}

std::string WithPoints(std::string version) {
    std::replace(version.begin(), version.end(), ',', '.');
    return version;
}

} // namespace

bool IsInstalledAsLibrary(const std::string &itemName) {
    return ExtensionOf(itemName).find(kLibraryExtension) != std::string::npos;
}

LibraryFamily FamilyOfLibrary(const std::string &itemName) {
    const std::string::size_type dash = itemName.find('-');
    return {itemName.substr(0, dash != std::string::npos ? dash : itemName.find('.')), ExtensionOf(itemName)};
}

LibraryNames NamesOfInstalledLibrary(const std::string &itemName, const std::string &version) {
    const std::string stem = itemName.substr(0, itemName.find('.'));
    const std::string end = "." + ExtensionOf(itemName);
    return {stem + end, stem + "-" + WithPoints(version) + end};
}

bool IsLookedForAsLibrary(const std::string &installPath) {
    return installPath.find(kLibraryExtension) != std::string::npos;
}

std::string NameOfLibraryLookedFor(const std::string &itemName, const std::string &version) {
    return itemName.substr(0, itemName.rfind('.')) + "-" + WithPoints(version) + "." + kLibraryExtension;
}
