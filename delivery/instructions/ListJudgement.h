// What an instruction file may touch, judged before the extension sees it.
//
// The extension takes an item line at its word: what is at the item's path is removed (a folder with all that is in
// it), then the package is unpacked there; a library is renamed after its version, and a link is made. So a list is
// judged by where all of this would happen: within the user's "Kelvo Folder", or not. The reading agrees with the
// extension's (InstructionFile.h, ItemLine.h), the composing of a path follows it, and the rules are stricter than what
// it does:
//   - every piece of a name is a real name, and a version holds no "/", so that nothing leaves the item's folder;
//   - an absolute target begins with the path of "Kelvo Folder" and has no ".." in it; other targets with "/" are
//     relative to wherever the program was started, and the two words "%system%" and "%extension%" give no folder;
//   - the same for the folder that the page's LumProductVersion names;
//   - no folder on the way is a symbolic link that leads out;
//   - a path is shorter than 1000 bytes: the extension removes what a path names after cutting it at 1023;
//   - the container's copy of the extension, which lies in the same folder, is not touched.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"

namespace delivery {

// What the extension composes paths of.
struct InstallPlaces {
    std::filesystem::path kelvoFolder;         // absolute
    std::string component;                     // of the page: LumComponentName
    std::optional<std::string> productVersion; // of the page: LumProductVersion
    std::vector<std::string> reserved;         // names in "Kelvo Folder" that no list may touch

    // Where items without a target lie.
    std::string DefaultFolder() const;
};

struct ListedItem {
    int line = 0; // of the file, from 1
    std::string name;
    std::string target;
    std::string version; // as it stands in the line
    std::string folder;  // as the extension composes it, with a "/" at its end; "" when the target gives none

    std::filesystem::path path() const {
        return folder + name;
    }
};

// The items that the extension would read from this file. Lines that it skips are left out.
std::vector<ListedItem> ListedItems(std::string_view file, const std::string &section, const InstallPlaces &places);

// Whether everything stays within "Kelvo Folder". The Error's text names the line, the item and its target, and says
// what is wrong, as the beginning of a sentence without a full stop.
base::Result<void> JudgeItems(const std::vector<ListedItem> &items, const InstallPlaces &places);

// The same for the folder that the page names: the extension makes it at once.
base::Result<void> JudgeDefaultFolder(const InstallPlaces &places);

} // namespace delivery
