#include <algorithm>
#include <cstdio>

#include "site/FindingText.h"
#include "site/check/Checker.h"
#include "site/verbs/Verbs.h"

namespace lumsite {

namespace {

std::size_t Count(const base::Findings &findings, base::Severity severity) {
    return static_cast<std::size_t>(std::ranges::count(findings, severity, &base::Finding::severity));
}

void Print(const CheckReport &report) {
    for (const base::Finding &finding : report.findings) {
        std::fputs(ToText(finding).c_str(), stdout);
    }
    std::printf("Checked %s and %s: %s, %s\n", CountText(report.pages, "page").c_str(),
                CountText(report.items, "package").c_str(),
                CountText(Count(report.findings, base::Severity::Error), "error").c_str(),
                CountText(Count(report.findings, base::Severity::Warning), "warning").c_str());
}

} // namespace

base::Result<int> RunCheck(const base::CommandLine &line) {
    CheckOptions options;
    options.page = line.Value("--page").value_or("");
    options.section = line.Value("--section").value_or("");
    options.soonDays = static_cast<int>(line.Number("--soon", options.soonDays));
    options.root = line.Value("--root").value_or("");
    options.visitor = line.Value("--visitor").value_or("");
    if (line.Has("--ca")) {
        base::Result<std::vector<Certificate>> trusted = ReadPemCertificates(*line.Value("--ca"));
        if (!trusted) {
            return base::Fail(std::move(trusted.error()));
        }
        options.trusted = std::move(*trusted);
    }
    return CheckSite(line.operands()[0], options).map([](const CheckReport &report) {
        Print(report);
        return report.Passed() ? 0 : 1;
    });
}

} // namespace lumsite
