#include "host/verbs/CommandLine.h"

#include <cmath>
#include <cstdlib>
#include <map>

#include "host/browser/BrowserIds.h"
#include "host/verbs/Commands.h"

namespace lumhost {

namespace {

using Verb = CommandLine::Verb;

// Browsers call a program by its name and add the caller: Chromium the extension's address, Firefox the file by which
// it found this program, and the extension.
bool IsCallOfBrowser(const std::vector<std::string> &operands) {
    return (operands.size() == 1 && operands.front().starts_with(kChromiumScheme)) ||
           (operands.size() == 2 && operands.front().ends_with(".json") && operands.back() == kFirefoxExtension);
}

Verb VerbOf(const base::CommandLine &typed) {
    static const std::map<std::string, Verb> verbs = {
        {"allow", Verb::Allow},
        {"allowed", Verb::Allowed},
        {"forbid", Verb::Forbid},
        {"status", Verb::Status},
        {"remove", Verb::Remove},
        {"repair", Verb::Repair},
        {"doctor", Verb::Doctor},
        {"browser install", Verb::BrowserInstall},
        {"browser uninstall", Verb::BrowserUninstall},
        {"browser status", Verb::BrowserStatus},
    };
    if (typed.HelpWanted()) {
        return Verb::Help;
    }
    if (typed.Has("--version")) {
        return Verb::Version;
    }
    if (!typed.verb().empty()) {
        return verbs.at(typed.verb());
    }
    if (typed.Has("--native") || IsCallOfBrowser(typed.operands())) {
        return Verb::Native;
    }
    return typed.operands().empty() && typed.Has("--report") ? Verb::Report : Verb::Start;
}

std::vector<std::pair<std::string, std::string>> Parameters(const base::CommandLine &typed) {
    std::vector<std::pair<std::string, std::string>> parameters;
    for (const std::string &text : typed.Values("--param")) {
        const std::size_t equals = text.find('=');
        parameters.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    }
    return parameters;
}

std::optional<std::chrono::milliseconds> Timeout(const base::CommandLine &typed) {
    const std::optional<std::string> text = typed.Value("--timeout");
    if (!text) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(std::llround(std::ceil(std::strtod(text->c_str(), nullptr) * 1000)));
}

// What the table cannot say; empty when nothing is wrong.
std::string WhatIsWrong(const CommandLine &line) {
    if (line.verb == Verb::Start && line.operands.empty()) {
        return "a page or a command is missing";
    }
    if (line.verb == Verb::Start && line.operands.size() > 1) {
        return "only one page can be started at a time";
    }
    if (!line.root.empty() && !line.newRoot.empty()) {
        return "give --root or --new-root, not both";
    }
    if (line.verb == Verb::Remove && line.all != line.operands.empty()) {
        return "name components or give --all, not both";
    }
    return {};
}

} // namespace

base::Result<CommandLine> ReadCommandLine(const std::vector<std::string> &arguments) {
    const base::Result<base::CommandLine> typed = base::ReadCommandLine(Commands(), arguments);
    if (!typed) {
        return base::Fail(typed.error());
    }
    CommandLine line;
    line.verb = VerbOf(*typed);
    line.operands = line.verb == Verb::Help ? std::vector{typed->verb()} : typed->operands();
    line.parameters = Parameters(*typed);
    line.log = typed->Value("--log").value_or("");
    line.report = typed->Value("--report").value_or("");
    line.extension = typed->Value("--extension").value_or("");
    line.root = typed->Value("--root").value_or("");
    line.newRoot = typed->Value("--new-root").value_or("");
    line.timeout = Timeout(*typed);
    line.json = typed->Has("--json");
    line.open = typed->Has("--open");
    line.all = typed->Has("--all");
    line.removeToo = typed->Has("--remove");
    line.anywhere = typed->Has("--anywhere");
    line.forUser = typed->Has("--user");
    line.forSystem = typed->Has("--system");
    if (const std::string wrong = WhatIsWrong(line); !wrong.empty()) {
        return base::Fail(base::WrongUse(Commands(), typed->verb(), wrong));
    }
    return line;
}

} // namespace lumhost
