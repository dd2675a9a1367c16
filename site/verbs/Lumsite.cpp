#include <algorithm>
#include <cstdio>
#include <exception>

#include "site/SiteError.h"
#include "site/verbs/Verbs.h"

namespace lumsite {
namespace {

struct Verb {
    const char *name;
    const char *help;
    int (*run)(const std::vector<std::string> &arguments);
};

constexpr Verb kVerbs[] = {
    {"init", "makes a demonstration authority, the site's key and its certificate", RunInit},
    {"pack", "makes a package of one component", RunPack},
    {"publish", "makes packages, instruction file and pages from a manifest", RunPublish},
    {"serve", "serves a published folder on this computer's loopback address", RunServe},
    {"check", "checks a published site the way the extension would", RunCheck},
};

void PrintHelp(FILE *out) {
    std::fputs("usage: lumsite VERB [options] ...\n\nPublishes components for the meeting-start extension.\n\n", out);
    for (const Verb &verb : kVerbs) {
        std::fprintf(out, "  %-9s %s\n", verb.name, verb.help);
    }
    std::fputs("\nlumsite VERB --help tells more. Exit status: 0 done, 1 failed, 2 misused.\n", out);
}

int Dispatch(const std::vector<std::string> &arguments) {
    if (arguments.empty()) {
        PrintHelp(stderr);
        return 2;
    }
    if (arguments[0] == "--help" || arguments[0] == "-h" || arguments[0] == "help") {
        PrintHelp(stdout);
        return 0;
    }
    const auto verb =
        std::find_if(std::begin(kVerbs), std::end(kVerbs), [&](const Verb &each) { return arguments[0] == each.name; });
    if (verb == std::end(kVerbs)) {
        throw UsageError("lumsite: unknown verb " + arguments[0] + "; see lumsite --help");
    }
    return verb->run({arguments.begin() + 1, arguments.end()});
}

} // namespace

int RunLumsite(const std::vector<std::string> &arguments) {
    try {
        return Dispatch(arguments);
    } catch (const UsageError &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "lumsite: %s\n", error.what());
        return 1;
    }
}

} // namespace lumsite
