#pragma once

#include <filesystem>
#include <string>

namespace lumhost {

// "CFBundleShortVersionString", otherwise "CFBundleVersion", of the property list of a bundle (application, bundle or
// framework); empty when there is none. Main thread.
std::string BundleVersion(const std::filesystem::path &bundle);

} // namespace lumhost
