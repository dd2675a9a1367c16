#include "site/FindingText.h"

namespace lumsite {

namespace {

const char *WordFor(base::Severity severity) {
    switch (severity) {
    case base::Severity::Error:
        return "error: ";
    case base::Severity::Warning:
        return "warning: ";
    case base::Severity::Good:
    case base::Severity::Note:
        break;
    }
    return "note: ";
}

} // namespace

std::string ToText(const base::Finding &finding) {
    std::string text = WordFor(finding.severity) + (finding.where.empty() ? "" : finding.where + ": ") + finding.what;
    text += "\n";
    if (!finding.remedy.empty()) {
        text += "    " + finding.remedy + "\n";
    }
    return text;
}

std::string CountText(std::size_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

} // namespace lumsite
