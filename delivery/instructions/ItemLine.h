// One line of the instruction file: the thirteen attributes of a component, separated by ";".
//
// The extension takes what it reads at its word and escapes nothing, so a value that holds a separator, a bracket pair
// or a line end would be taken for something else. The rules here are the extension's: a publisher refuses by them
// before anything is written, and what others wrote is judged by them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "base/Finding.h"

namespace delivery {

// Positions in the line. Lines of fewer than kRequiredAttributes are not items at all; with fewer than kAttributes an
// item has no signature and is refused when it is installed.
enum Attribute : std::size_t {
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
constexpr std::size_t kRequiredAttributes = 10;
// The longest physical line, key included and line end not, that is read in one piece.
constexpr std::size_t kLongestLine = 2047;

// Cuts a line as the extension does: an empty text after the last ";" is no attribute.
std::vector<std::string> SplitItemLine(std::string_view line);

// What the extension would make of these attributes. Every finding's `where` is empty; `what` begins with the
// attribute.
base::Findings ExamineItem(const std::vector<std::string> &attributes);

// Why `text` cannot be an attribute, or empty when it can.
std::string ReasonAgainst(std::string_view text);

// "2.1.3.4" or "2,1,3,4" as "2,1,3,4"; empty when it is not four numbers without leading zeros.
std::string VersionWithCommas(std::string_view version);

// Equal names of components: without regard to case, in any script.
std::string FoldCase(std::string_view utf8);

} // namespace delivery
