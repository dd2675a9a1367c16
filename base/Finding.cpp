#include "base/Finding.h"

#include <algorithm>

namespace base {

bool HasErrors(const Findings &findings) {
    return std::ranges::any_of(findings, [](const Finding &f) { return f.severity == Severity::Error; });
}

} // namespace base
