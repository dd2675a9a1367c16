#include "host/verbs/Commands.h"

#include <cstdlib>

namespace lumhost {

namespace {

using Kind = base::Offer::Kind;

bool IsParameter(const std::string &text) {
    const std::size_t equals = text.find('=');
    return equals != std::string::npos && equals > 0;
}

bool IsTimeout(const std::string &text) {
    char *end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && seconds > 0 && seconds <= 1e6;
}

base::Verb Start() {
    return {
        .name = "",
        .operands = "PAGE",
        .most = 2, // a browser that calls names itself with two words
        .text = "PAGE is a file, or an http or https address. Components that it needs are downloaded from its site, "
                "checked and installed for you; then the application is started and the page sent on. The site must "
                "be allowed first.",
        .options = {{.name = "--param",
                     .value = "NAME=VALUE",
                     .help = "set a parameter of the page, instead of the page's own of that name; may be repeated",
                     .expected = "a parameter, for example --param Language=de",
                     .accepts = IsParameter},
                    {.name = "--open", .help = "open the next page in the desktop's browser"},
                    {.name = "--json", .help = "print events as JSON, one a line, and nothing else on standard output"},
                    {.name = "--log",
                     .value = "FILE",
                     .help = "write every trace line to FILE, for your eyes only: it contains whole addresses and "
                             "the session",
                     .offer = {Kind::Files}},
                    {.name = "--report",
                     .value = "FILE",
                     .help = "write a report for support, without private values, to FILE (.tar.gz): of this start "
                             "when it has ended, or without PAGE of the last one",
                     .offer = {Kind::Files}},
                    {.name = "--timeout",
                     .value = "SECONDS",
                     .help = "stop after this time",
                     .expected = "a number of seconds, for example 30",
                     .accepts = IsTimeout},
                    {.name = "--extension",
                     .value = "BUNDLE",
                     .help = "load the extension from BUNDLE, instead of the installed one",
                     .offer = {Kind::Files}},
                    {.name = "--native",
                     .help = "talk to a browser's extension on standard input and output, instead of reading a page; "
                             "implied when a browser calls"}},
        .offer = {Kind::Files, "*.htm*"}};
}

base::Verb Browser(const std::string &what, std::string summary, std::string text) {
    return {.name = "browser " + what,
            .summary = std::move(summary),
            .text = std::move(text),
            .options = {{.name = "--user", .help = "for this user"},
                        {.name = "--system", .help = "for all users of this machine; changes need root"}}};
}

// A shell command. A name may have blanks in it, which a completion cannot tell from the next name.
constexpr const char *kInstalledNames = "lumhost status --json | sed -n 's/^ *\"name\" : \"\\([^\" ]*\\)\".*/\\1/p'";

constexpr const char *kExitStatus =
    "Exit status: 0 when the application was started or the page sent on; 1 when a message was shown (its number is on "
    "standard error) or a command failed; 2 wrong use; 3 no such page, or nothing to start on it; 4 the site is not "
    "allowed; 5 the extension cannot be loaded; 6 nothing was left to do, and nothing was started; 7 stopped by the "
    "user; "
    "8 timed out; 9 the window server has gone; 10 the page was left (--native); 128 plus the signal's number when "
    "ended "
    "by a signal.";

} // namespace

const base::Program &Commands() {
    static const base::Program program = {
        .name = "lumhost",
        .summary = "Starts the online meeting that a web page asks for.",
        .verbs =
            {Start(),
             {.name = "allow",
              .operands = "SITE",
              .fewest = 1,
              .most = 1,
              .summary = "allow the pages of this site to start meetings",
              .text =
                  "A site is a scheme, a host and, unless it is the scheme's own, a port: https://meet.example. Its "
                  "components are installed in your \"Kelvo Folder\" only, also when it was allowed more before.",
              .options = {{.name = "--anywhere",
                           .help = "let it install wherever its instruction file says, and replace and delete what is "
                                   "there: any file of yours"},
                          {.name = "--root",
                           .value = "FILE",
                           .help = "accept only signed releases of this site: those that the root of its keys in FILE "
                                   "(root.json, from its operator) leads to",
                           .offer = {Kind::Files, "*.json"}},
                          {.name = "--new-root",
                           .value = "FILE",
                           .help = "the same for a site that has lost its keys: forgets the root and the releases that "
                                   "were accepted, so that an old release is as good as a new one once more",
                           .offer = {Kind::Files, "*.json"}}}},
             {.name = "forbid",
              .operands = "SITE",
              .fewest = 1,
              .most = 1,
              .summary = "withdraw that permission, and forget the site's signed releases",
              .text = "What the site has installed stays, and serves the pages of other sites.",
              .options = {{.name = "--remove", .help = "remove the components that came from it, or for its pages"}},
              .offer = {Kind::Command, "lumhost allowed | cut -d' ' -f1"}},
             {.name = "allowed", .summary = "list the allowed sites, and the roots of those with signed releases"},
             {.name = "status",
              .summary = "list the installed components, where they came from, whether they are complete, and the "
                         "signed releases in use",
              .text = "The exit status is 1 when a component is damaged.",
              .options = {{.name = "--json", .help = "print a JSON array, with a component in each object"}}},
             {.name = "repair",
              .operands = "[PAGE | NAME...]",
              .most = 1000,
              .summary = "fetch damaged components again",
              .text =
                  "Without NAME all of those that \"status\" calls damaged, from where they came. With PAGE those of "
                  "this page, also when it is not known where they came from. Nothing is started.",
              .options = {{.name = "--extension",
                           .value = "BUNDLE",
                           .help = "load the extension from BUNDLE, instead of the installed one",
                           .offer = {Kind::Files}}},
              .offer = {Kind::Command, kInstalledNames}},
             {.name = "remove",
              .operands = "NAME...",
              .most = 1000,
              .summary = "remove installed components",
              .text = "Symbolic links are not followed. A component that runs is left alone.",
              .options = {{.name = "--all",
                           .help = "remove everything, with the extension's copy, the records, the last start and the "
                                   "downloads; the allowed sites and the roots of their signed releases stay"}},
              .offer = {Kind::Command, kInstalledNames}},
             {.name = "doctor",
              .summary = "check whether this machine has what is needed",
              .text = "Says what to do about anything that is missing. The exit status is 1 when a start would fail."},
             Browser("install", "let Chromium, Chrome and Firefox start lumhost for their extension",
                     "Prints where the extension is. For this user, unless --system is given."),
             Browser("uninstall", "undo what \"browser install\" has done", "For this user, unless --system is given."),
             Browser("status", "list the browsers' files, and whether they name this program",
                     "Those of this user and those of the machine. The exit status is 0 when every browser finds "
                     "this program.")},
        .options = {{.name = "--version", .help = "print the version"}},
        .text = kExitStatus,
    };
    return program;
}

} // namespace lumhost
