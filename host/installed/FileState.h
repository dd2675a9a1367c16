// One file of a component, compared with its record.
//
// A small file that was turned into the symbolic link whose target it held (a framework's repaired links) counts as
// unchanged, and so does an "InfoPlist.strings", into which the extension writes the application's name, whatever is in
// it.
#pragma once

#include <filesystem>

#include "host/installed/Installed.h"

namespace lumhost {

enum class FileFault { None, Missing, Changed };

// Reads the file.
FileFault CheckFile(const InstalledFile &file, const std::filesystem::path &folder);

// Whether a program or library is there, as long as it was, and as executable. Reads it only when it was written to
// since; true for every other file.
bool IsProgramFit(const InstalledFile &file, const std::filesystem::path &folder);

} // namespace lumhost
