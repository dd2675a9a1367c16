// What can go wrong while a site is made or read, told to the person at the terminal.
#pragma once

#include <stdexcept>
#include <string>

#include "base/Finding.h"

namespace lumsite {

// The work cannot be done. The text names the thing it is about and the way out; lumsite ends with status 1.
class SiteError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The command line or the manifest cannot be understood; lumsite ends with status 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// `doing` and `path` with the system's reason for errno, such as "cannot read a/b: Permission denied".
[[noreturn]] void ThrowSystemError(const std::string &doing, const std::string &path);

using base::Finding;
using base::Findings;
using base::HasErrors;
using base::Severity;

// "error: lummac.ini:4: what\n    remedy\n".
std::string ToText(const Finding &finding);

} // namespace lumsite
