#include <algorithm>
#include <cstdio>

#include "site/check/Checker.h"
#include "site/verbs/CommandLine.h"
#include "site/verbs/Verbs.h"

namespace lumsite {

int RunCheck(const std::vector<std::string> &arguments) {
    CommandLine line(
        "check", "DIR|URL",
        "Checks a published site, as a folder or at its address, the way a visitor's extension will. Exit\n"
        "status 1 when an error is found; warnings and notes do not count.\n",
        {{"--page", "PAGE", "the page that starts the extension (index.html; in a folder, all such pages)"},
         {"--section", "NAME", "section of the instruction file (the one that the page names)"},
         {"--ca", "FILE", "certificates (PEM) that visitors trust besides the system's"},
         {"--soon", "N", "warn about certificates that end within N days (30)"}});
    line.Parse(arguments, 1, 1);
    if (line.helpWanted()) {
        std::fputs(line.Help().c_str(), stdout);
        return 0;
    }
    CheckOptions options;
    options.page = line.Value("--page").value_or("");
    options.section = line.Value("--section").value_or("");
    options.soonDays = static_cast<int>(line.Number("--soon", options.soonDays, 0, 36500));
    if (line.Has("--ca")) {
        options.trusted = ReadPemCertificates(*line.Value("--ca"));
    }
    const CheckReport report = CheckSite(line.operands()[0], options);
    for (const Finding &finding : report.findings) {
        std::fputs(ToText(finding).c_str(), stdout);
    }
    const auto count = [&](Severity severity) {
        return std::count_if(report.findings.begin(), report.findings.end(),
                             [&](const Finding &finding) { return finding.severity == severity; });
    };
    std::printf("%d pages and %d packages checked: %ld errors, %ld warnings\n", report.pages, report.items,
                static_cast<long>(count(Severity::Error)), static_cast<long>(count(Severity::Warning)));
    return report.Passed() ? 0 : 1;
}

} // namespace lumsite
