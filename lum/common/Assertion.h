// The assertion idiom of the extension: a check that fails is traced and the caller takes its normal failure branch.
//
//     constexpr SourceUnit kSource("lum/common/lumutil");
//     if (!AssertionHolds(path != nullptr, "path", kSource)) {
//         return false;
//     }
#pragma once

#include <string_view>

#include "lum/common/lumutil.h"

// The unit that an assertion line names: a path from "lum/" on, without an extension.
class SourceUnit {
public:
    // Refused by the compiler: another root, an extension, and a "%", which the error trace would take for a
    // conversion.
    consteval explicit SourceUnit(const char *path) : m_path(path) {
        const std::string_view text(path);
        if (!text.starts_with("lum/") || text.find_first_of(".%") != text.npos) {
            throw "a unit's path begins with lum/ and has neither an extension nor a percent sign";
        }
    }

    constexpr const char *path() const {
        return m_path;
    }

private:
    const char *m_path;
};

// Returns `holds`, after tracing the assertion when it is false. `expression` is printed as given; `line` is the
// caller's, unless one is fixed.
inline bool AssertionHolds(bool holds, const char *expression, SourceUnit unit, int line = __builtin_LINE()) {
    if (!holds) {
        TraceAssertionFailure(expression, unit.path(), line);
    }
    return holds;
}
