#include "host/verbs/CommandLine.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <string_view>

#include "host/browser/BrowserIds.h"

namespace lumhost {

const char *const kUsage =
    R"(usage: lumhost PAGE [options]      start what the page (a file, or an http or https address) asks for
       lumhost allow ORIGIN        let pages of this site (https://meet.example) start
       lumhost forbid ORIGIN       take that back
       lumhost allowed             list the allowed sites
       lumhost status              list the installed components, and whether they are whole
       lumhost remove NAME...      remove installed components; --all removes everything
       lumhost doctor              look whether this machine has what is needed
       lumhost browser install     let Chromium, Chrome and Firefox start this program for their extension
       lumhost browser uninstall   take that back
       lumhost browser status      list the browsers, and whether that is so
       lumhost --native            speak with a browser's extension on standard input and output
       lumhost --report FILE       pack what support needs to know of the last start

options of browser:
  --user               for this user (the default of install and uninstall)
  --system             for all users of this machine

options of a start:
  --param NAME=VALUE   give the page a parameter, in place of its own of that name
  --open               open the next page in the desktop's browser
  --json               print one event a line
  --log FILE           write every trace line to this file (for your eyes only)
  --report FILE        the same as above, when the start has ended
  --timeout SECONDS    end after this time
  --extension BUNDLE   load this extension where it is, in place of the installed one
  --version, --help

Exit status: 0 when the application was started or the page sent on; 1 a message was shown (its number is on standard
error); 2 wrong use; 3 no such page, or nothing to start on it; 4 the site is not allowed; 5 the extension cannot be
loaded; 6 nothing was left to do, and nothing was started; 7 stopped by the user; 8 out of time; 9 the window server
went away; 10 the page was left (--native); 128 and the signal's number when ended by a signal.
)";

namespace {

using Verb = CommandLine::Verb;

struct VerbName {
    std::string_view name;
    Verb verb;
    std::size_t fewest;
    std::size_t most;
};
constexpr std::array<VerbName, 7> kVerbs = {{{"allow", Verb::Allow, 1, 1},
                                             {"allowed", Verb::Allowed, 0, 0},
                                             {"browser", Verb::Browser, 1, 1},
                                             {"forbid", Verb::Forbid, 1, 1},
                                             {"doctor", Verb::Doctor, 0, 0},
                                             {"status", Verb::Status, 0, 0},
                                             {"remove", Verb::Remove, 0, 1000}}};

using Problem = std::optional<std::string>;

Problem ReadParameter(const std::string &text, CommandLine &line) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
        return "--param wants NAME=VALUE, not \"" + text + "\"";
    }
    line.parameters.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    return std::nullopt;
}

Problem ReadTimeout(const std::string &text, CommandLine &line) {
    char *end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(seconds > 0) || seconds > 1e6) {
        return "--timeout wants a number of seconds, not \"" + text + "\"";
    }
    line.timeout = std::chrono::milliseconds(std::llround(std::ceil(seconds * 1000)));
    return std::nullopt;
}

struct Option {
    std::string_view name;
    std::function<Problem(const std::string &, CommandLine &)> read; // with a value
    std::function<void(CommandLine &)> set;                          // without
};

const std::vector<Option> &Options() {
    const auto path = [](std::filesystem::path CommandLine::*member) {
        return [member](const std::string &text, CommandLine &line) -> Problem {
            line.*member = text;
            return text.empty() ? Problem("a file name is missing") : std::nullopt;
        };
    };
    static const std::vector<Option> options = {
        {"--param", ReadParameter, nullptr},
        {"--timeout", ReadTimeout, nullptr},
        {"--log", path(&CommandLine::log), nullptr},
        {"--report", path(&CommandLine::report), nullptr},
        {"--extension", path(&CommandLine::extension), nullptr},
        {"--json", nullptr, [](CommandLine &line) { line.json = true; }},
        {"--open", nullptr, [](CommandLine &line) { line.open = true; }},
        {"--native", nullptr, [](CommandLine &line) { line.native = true; }},
        {"--user", nullptr, [](CommandLine &line) { line.scope = CommandLine::Scope::User; }},
        {"--system", nullptr, [](CommandLine &line) { line.scope = CommandLine::Scope::System; }},
        {"--all", nullptr, [](CommandLine &line) { line.all = true; }},
        {"--help", nullptr, [](CommandLine &line) { line.verb = Verb::Help; }},
        {"-h", nullptr, [](CommandLine &line) { line.verb = Verb::Help; }},
        {"--version", nullptr, [](CommandLine &line) { line.verb = Verb::Version; }},
    };
    return options;
}

// Reads the option at `i` and its value.
Problem ReadOption(const std::vector<std::string> &arguments, std::size_t &i, CommandLine &line) {
    const std::string &argument = arguments[i];
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    for (const Option &option : Options()) {
        if (option.name != name) {
            continue;
        }
        if (option.set) {
            option.set(line);
            return equals == std::string::npos ? std::nullopt : Problem(name + " takes no value");
        }
        if (equals != std::string::npos) {
            return option.read(argument.substr(equals + 1), line);
        }
        if (++i == arguments.size()) {
            return name + " wants a value";
        }
        return option.read(arguments[i], line);
    }
    return "there is no option " + name;
}

bool IsBrowserWord(std::string_view word) {
    return word == "install" || word == "uninstall" || word == "status";
}

// Browsers call a program by its name alone and add who calls: Chromium the extension's address, Firefox the file by
// which it found this program, and the extension.
bool IsCallOfBrowser(const std::vector<std::string> &operands) {
    return (operands.size() == 1 && operands.front().starts_with(kChromiumScheme)) ||
           (operands.size() == 2 && operands.front().ends_with(".json") && operands.back() == kFirefoxExtension);
}

Problem SettleVerb(CommandLine &line) {
    if (line.verb == Verb::Help || line.verb == Verb::Version) {
        return std::nullopt;
    }
    if (line.native || IsCallOfBrowser(line.operands)) {
        line.verb = Verb::Native;
        return std::nullopt;
    }
    if (line.operands.empty()) {
        line.verb = Verb::Report;
        return line.report.empty() ? Problem("a page is missing") : std::nullopt;
    }
    for (const VerbName &verb : kVerbs) {
        if (line.operands.front() != verb.name) {
            continue;
        }
        line.verb = verb.verb;
        line.operands.erase(line.operands.begin());
        if (line.operands.size() < verb.fewest || line.operands.size() > verb.most) {
            return "wrong number of words after " + std::string(verb.name);
        }
        if (verb.verb == Verb::Remove && line.all != line.operands.empty()) {
            return "remove wants the names of components, or --all";
        }
        if (verb.verb == Verb::Browser && !IsBrowserWord(line.operands.front())) {
            return "browser wants install, uninstall or status";
        }
        return std::nullopt;
    }
    return line.operands.size() == 1 ? std::nullopt : Problem("one page at a time");
}

} // namespace

std::variant<CommandLine, std::string> ReadCommandLine(const std::vector<std::string> &arguments) {
    CommandLine line;
    bool options = true;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string &argument = arguments[i];
        if (options && argument == "--") {
            options = false;
        } else if (options && argument.size() > 1 && argument[0] == '-') {
            if (const Problem problem = ReadOption(arguments, i, line)) {
                return *problem;
            }
        } else {
            line.operands.push_back(argument);
        }
    }
    if (const Problem problem = SettleVerb(line)) {
        return *problem;
    }
    return line;
}

} // namespace lumhost
