#include <algorithm>
#include <cstdio>
#include <exception>

#include "site/publish/Manifest.h"
#include "site/verbs/Commands.h"
#include "site/verbs/Verbs.h"

namespace lumsite {

namespace {

constexpr int kFailed = 1;
constexpr int kMisused = 2;

struct Verb {
    const char *name;
    base::Result<int> (*run)(const base::CommandLine &line);
};

constexpr Verb kVerbs[] = {
    {"init", RunInit},     {"pack", RunPack},   {"publish", RunPublish}, {"renew", RunRenew},
    {"rotate", RunRotate}, {"serve", RunServe}, {"check", RunCheck},
};

int Complain(const std::string &text, int status) {
    std::fprintf(stderr, "lumsite: %s\n", text.c_str());
    return status;
}

int Run(const std::vector<std::string> &arguments) {
    if (arguments.empty()) {
        std::fputs(base::HelpText(Commands()).c_str(), stderr);
        return kMisused;
    }
    const base::Result<base::CommandLine> line = base::ReadCommandLine(Commands(), arguments);
    if (!line) {
        return Complain(line.error().text, kMisused);
    }
    if (line->HelpWanted()) {
        std::fputs(base::HelpText(Commands(), line->verb()).c_str(), stdout);
        return 0;
    }
    const auto verb = std::ranges::find(kVerbs, line->verb(), &Verb::name);
    const base::Result<int> status = verb->run(*line);
    return status ? *status : Complain(status.error().text, status.error().code == kManifestFault ? kMisused : kFailed);
}

} // namespace

int RunLumsite(const std::vector<std::string> &arguments) {
    try {
        return Run(arguments);
    } catch (const std::exception &error) { // no memory
        return Complain(error.what(), kFailed);
    }
}

} // namespace lumsite
