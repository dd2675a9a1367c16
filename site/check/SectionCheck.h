// Reads the items of a section as the extension does, and reports what it would miss.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/Finding.h"
#include "delivery/instructions/InstructionFile.h"

namespace lumsite {

struct SectionItem {
    std::string where; // "lummac.ini:4"
    std::vector<std::string> attributes;
};

// The items that the extension would read from the file at `path`, whose text was read into `file`. Findings about the
// section, its count, its keys and its lines are appended.
std::vector<SectionItem> ReadSection(const std::filesystem::path &path, const delivery::InstructionFile &file,
                                     const std::string &section, base::Findings &findings);

} // namespace lumsite
