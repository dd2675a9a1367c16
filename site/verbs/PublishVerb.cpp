#include <cstdio>

#include "site/FindingText.h"
#include "site/publish/Publisher.h"
#include "site/verbs/Verbs.h"

namespace lumsite {

namespace {

void Print(const PublishResult &result) {
    for (const base::Finding &finding : result.findings) {
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
}

} // namespace

base::Result<int> RunPublish(const base::CommandLine &line) {
    PublishOptions options;
    options.replaceKeys = line.Has("--replace-keys");
    options.sameVersion = line.Has("--same-version");
    if (line.Has("--prune")) {
        options.pruneAfterHours = static_cast<int>(line.Number("--keep-hours", kKeepHours));
    }
    return ReadManifest(line.operands()[0], line.Value("--url").value_or(""))
        .and_then([&](const Manifest &manifest) { return Publish(manifest, line.operands()[1], options); })
        .map([](const PublishResult &result) {
            Print(result);
            return 0;
        });
}

} // namespace lumsite
