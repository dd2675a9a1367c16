// What an examination of a machine or of a site brings to light, for a person who is to put it right.
#pragma once

#include <string>
#include <vector>

namespace base {

enum class Severity {
    Good,    // as it should be
    Note,    // worth knowing, or works with less comfort
    Warning, // works, though not the way most people want it
    Error,   // a start will fail
};

struct Finding {
    Severity severity;
    std::string where;  // the thing or the place: "Windows", "lummac.ini:7"
    std::string what;   // a sentence or the rest of one
    std::string remedy; // what to do; empty when there is nothing to do
};

using Findings = std::vector<Finding>;

bool HasErrors(const Findings &findings);

} // namespace base
