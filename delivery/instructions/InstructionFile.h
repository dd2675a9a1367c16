// "lummac.ini" with its line numbers: the same reading as the extension's, for telling people where something stands.
//
// The extension's rules are simple and unforgiving: a line is cut after 2047 characters and the rest counts as a line
// of its own; any line that holds both "[" and "]" begins a section; only the first section of a name is read; there
// are no comments. What these rules make of a file by surprise is listed as faults.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/Finding.h"

namespace delivery {

inline constexpr const char *kInstructionFileName = "lummac.ini";
inline constexpr const char *kDefaultSection = "Kelvo";

struct InstructionEntry {
    int line; // from 1
    std::string key;
    std::string value;
};

struct InstructionSection {
    int line;
    std::string name;
    std::vector<InstructionEntry> entries;

    // The first entry of that key, in any case, or null.
    const InstructionEntry *Find(std::string_view key) const;
};

struct InstructionFile {
    std::vector<InstructionSection> sections;
    base::Findings faults; // `where` is "lummac.ini:7"

    // The section that the extension would read, or null.
    const InstructionSection *Find(std::string_view name) const;
};

InstructionFile ReadInstructions(std::string_view text);

// The item lines "File1", "File2" and so on in their order, up to the first that is missing or shorter than two
// characters: every line that the extension may read. It stops earlier when "Count" says so. Null is never among them.
std::vector<const InstructionEntry *> ItemEntries(const InstructionSection &section);

// Whether a request for this address, as the extension composes it (with a "?random=..." at its end), is for an
// instruction file.
bool IsInstructionAddress(std::string_view address);

// "lummac.ini:7".
std::string InstructionLine(int line);

// The "File" key's number, or 0 when the key is none of them. Numbers have no leading zeros.
int FileNumber(std::string_view key);

} // namespace delivery
