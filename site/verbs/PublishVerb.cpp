#include <cstdio>

#include "site/verbs/CommandLine.h"
#include "site/publish/Publisher.h"
#include "site/verbs/Verbs.h"

namespace lumsite {

int RunPublish(const std::vector<std::string> &arguments) {
    CommandLine line(
        "publish", "MANIFEST SITE",
        "Makes packages, instruction file and pages from MANIFEST in the folder SITE. Visitors find the\n"
        "site as it was or as it is, at every moment. Packages that are no longer named stay, for visitors\n"
        "who hold an earlier instruction file, until --prune.\n",
        {{"--url", "URL", "address of SITE for visitors, instead of the manifest's"},
         {"--prune", "", "remove packages that were last named " + std::to_string(kKeepHours) + " hours ago"},
         {"--keep-hours", "N", "with --prune, another number of hours"},
         {"--replace-keys", "", "let a section be signed by another key than before"}});
    line.Parse(arguments, 2, 2);
    if (line.helpWanted()) {
        std::fputs(line.Help().c_str(), stdout);
        return 0;
    }
    PublishOptions options;
    options.replaceKeys = line.Has("--replace-keys");
    const long hours = line.Number("--keep-hours", kKeepHours, 0, 100000);
    if (line.Has("--prune")) {
        options.pruneAfterHours = static_cast<int>(hours);
    }
    const Manifest manifest = ReadManifest(line.operands()[0], line.Value("--url").value_or(""));
    const PublishResult result = Publish(manifest, line.operands()[1], options);
    for (const Finding &finding : result.findings) {
        std::fputs(ToText(finding).c_str(), stderr);
    }
    for (const PublishedItem &item : result.items) {
        std::printf("%s %s%s\n", item.written ? "new " : "kept", item.package.c_str(),
                    item.installedLibrary.empty() ? "" : (", installed as " + item.installedLibrary).c_str());
    }
    for (const std::string &name : result.written) {
        std::printf("new  %s\n", name.c_str());
    }
    for (const std::string &name : result.removed) {
        std::printf("gone %s\n", name.c_str());
    }
    return 0;
}

} // namespace lumsite
