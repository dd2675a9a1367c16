// Writes one line of the instruction file. The rules of such a line are in delivery/instructions/ItemLine.h.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "delivery/instructions/InstructionFile.h"

namespace lumsite {

struct ItemLine {
    std::string name;           // file name of the component, by which pages name it
    std::string url;            // of the package, below the URL root
    std::string target;         // install location; empty: the product's own folder
    std::string version;        // four numbers joined by ","
    std::uint64_t fileSize = 0; // of the unpacked component, bytes
    std::uint64_t compressedSize = 0;
    std::string action;
    std::string updateControl;
    std::string failureControl;
    int osVersion = 0;
    std::string hashValue;  // lower-case hexadecimal
    std::string hashMethod; // "sha1" or "sha256"
    std::string signature;  // base64, over the hash value's text
};

std::string ToText(const ItemLine &item);

// URLs of the packages of all sections, as the items give them.
std::vector<std::string> PackageUrls(const delivery::InstructionFile &instructions);

// The name under which the extension keeps an installed library ("libfoo.dylib" of 1,2,3,4 is kept as
// "libfoo-1.2.3.4.dylib"), or empty when the item is no library.
std::string InstalledLibraryName(std::string_view name, std::string_view version);

} // namespace lumsite
