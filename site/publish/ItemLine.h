// One line of the instruction file: the thirteen attributes of a component, separated by ";".
//
// The extension takes what it reads at its word and escapes nothing, so a value that holds a separator, a bracket pair
// or a line end would be taken for something else. The rules here are the extension's; publish refuses by them before
// anything is written, check reports by them what others wrote.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "site/SiteError.h"

namespace lumsite {

// Positions in the line. Lines of fewer than kRequiredAttributes are not items at all; with fewer than kAttributes an
// item has no signature and is refused when it is installed.
enum Attribute {
    kName,
    kUrl,
    kTarget,
    kVersion,
    kFileSize,
    kCompressedSize,
    kAction,
    kUpdateControl,
    kFailureControl,
    kOSVersion,
    kHashValue,
    kHashMethod,
    kSignature,
    kAttributes
};
constexpr size_t kRequiredAttributes = 10;
// The longest physical line, key included and line end not, that is read in one piece.
constexpr size_t kLongestLine = 2047;

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

// Cuts a line as the extension does: an empty text after the last ";" is no attribute.
std::vector<std::string> SplitItemLine(std::string_view line);

// What the extension would make of these attributes. Every finding's `where` is empty; `what` begins with the
// attribute.
Findings ExamineItem(const std::vector<std::string> &attributes);

// Why `text` cannot be an attribute, or empty when it can.
std::string ReasonAgainst(std::string_view text);

// "2.1.3.4" or "2,1,3,4" as "2,1,3,4"; empty when it is not four numbers without leading zeros.
std::string VersionWithCommas(std::string_view version);

// The name under which the extension keeps an installed library ("libfoo.dylib" of 1,2,3,4 is kept as
// "libfoo-1.2.3.4.dylib"), or empty when the item is no library.
std::string InstalledLibraryName(std::string_view name, std::string_view version);

// Equal names of components: without regard to case, in any script.
std::string FoldCase(std::string_view utf8);

} // namespace lumsite
