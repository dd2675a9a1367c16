// What is known of the application that a start will launch.
#pragma once

#include <string>

// True when the application whose property list lies at `plistPath` (FOLDER/NAME.app/Contents/Info.plist) is of the
// version `wanted`: the last component of FOLDER + "_" + its CFBundleVersion, with "_" for each dot of the latter.
// False when anything of it is unknown.
bool IsInstalled(const std::string &plistPath, const std::string &wanted);
