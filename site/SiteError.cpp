#include "site/SiteError.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace lumsite {

void ThrowSystemError(const std::string &doing, const std::string &path) {
    throw SiteError(doing + " " + path + ": " + std::generic_category().message(errno));
}

std::string ToText(const Finding &finding) {
    const char *word = finding.severity == Severity::Error     ? "error: "
                       : finding.severity == Severity::Warning ? "warning: "
                                                               : "note: ";
    std::string text = word + (finding.where.empty() ? "" : finding.where + ": ") + finding.what + "\n";
    if (!finding.remedy.empty()) {
        text += "    " + finding.remedy + "\n";
    }
    return text;
}

} // namespace lumsite
