#pragma once

#include <stdexcept>
#include <string>

#include "base/Finding.h"
#include "site/FindingText.h"

namespace lumsite {

using base::Finding;
using base::Findings;
using base::HasErrors;
using base::Severity;

class SiteError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void ThrowSystemError(const std::string &doing, const std::string &path);

} // namespace lumsite
