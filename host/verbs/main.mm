// The program: reads the command line and hands on to the verb.
#include <clocale>
#include <cstdio>
#include <cstdlib>

#import <Foundation/Foundation.h>

#include "host/verbs/BrowserVerb.h"
#include "host/verbs/CommandLine.h"
#include "host/verbs/Doctor.h"
#include "host/frontend/EventSink.h"
#include "host/installed/InstallNotes.h"
#include "host/installed/Installed.h"
#include "host/trace/LastStart.h"
#include "host/verbs/NativeVerb.h"
#include "host/sites/Origins.h"
#include "host/verbs/StartVerb.h"
#include "host/frontend/Complain.h"
#include "base/Text.h"
#include "host/Version.h"
#include "theme/UseTheme.h"

namespace lumhost {

namespace {

constexpr int kWrongUse = static_cast<int>(Ending::WrongUse);

int ChangeOrigins(const CommandLine &line, const Folders &folders) {
    const auto origin = ReadOrigin(line.operands.front());
    if (!origin) {
        Complain("\"" + base::OneLine(line.operands.front()) +
                 "\" is no site; a site is written like https://meet.example");
        return kWrongUse;
    }
    Origins origins(folders.config / "allowed-origins");
    const bool allow = line.verb == CommandLine::Verb::Allow;
    std::string error;
    if (!(allow ? origins.Allow(*origin, &error) : origins.Forbid(*origin, &error))) {
        Complain("the list of sites cannot be written: " + error);
        return EXIT_FAILURE;
    }
    std::printf("%s: %s\n", allow ? "allowed" : "not allowed", origin->c_str());
    return EXIT_SUCCESS;
}

int ListOrigins(const Folders &folders) {
    const Origins origins(folders.config / "allowed-origins");
    for (const std::string &origin : origins.all()) {
        std::puts(origin.c_str());
    }
    return EXIT_SUCCESS;
}

int ShowStatus(const Folders &folders) {
    SettleInstallNotes(folders);
    const Installed installed(folders);
    std::fputs(installed.Listing().c_str(), stdout);
    for (const ComponentState &state : installed.States()) {
        if (state.recorded && !state.whole()) {
            return EXIT_FAILURE;
        }
    }
    return EXIT_SUCCESS;
}

int Remove(const CommandLine &line, const Folders &folders) {
    SettleInstallNotes(folders);
    const Installed installed(folders);
    std::vector<std::string> errors;
    unsigned removed = line.all ? installed.RemoveAll(errors) : 0;
    for (const std::string &name : line.operands) {
        const unsigned now = installed.Remove(name, errors);
        if (now == 0) {
            errors.push_back("\"" + base::OneLine(name) + "\" is not installed");
        }
        removed += now;
    }
    std::printf("removed: %u\n", removed);
    for (const std::string &error : errors) {
        Complain(error);
    }
    return errors.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int PackReport(const CommandLine &line, const Folders &folders) {
    std::string error;
    if (!LastStart::Pack(folders, ToText(Examine(folders)), line.report, error)) {
        Complain(error);
        return EXIT_FAILURE;
    }
    // Standard output may be read by a program.
    Complain(line.report.string() + " holds what support needs; what that is stands in its README.txt");
    return EXIT_SUCCESS;
}

int Start(const CommandLine &line, const Folders &folders) {
    UseTheme(OwnPart("Lum.theme").c_str());
    const int status = StartPage(line, folders);
    if (!line.report.empty()) {
        PackReport(line, folders);
    }
    return status;
}

int Do(const CommandLine &line, const Folders &folders) {
    using Verb = CommandLine::Verb;
    switch (line.verb) {
    case Verb::Start:
        return Start(line, folders);
    case Verb::Allow:
    case Verb::Forbid:
        return ChangeOrigins(line, folders);
    case Verb::Allowed:
        return ListOrigins(folders);
    case Verb::Doctor: {
        const std::vector<Finding> findings = Examine(folders);
        std::fputs(ToText(findings).c_str(), stdout);
        return AnyBad(findings) ? EXIT_FAILURE : EXIT_SUCCESS;
    }
    case Verb::Status:
        return ShowStatus(folders);
    case Verb::Remove:
        return Remove(line, folders);
    case Verb::Report:
        return PackReport(line, folders);
    case Verb::Browser:
        return DoBrowser(line, folders);
    case Verb::Native:
        UseTheme(OwnPart("Lum.theme").c_str());
        return StartForBrowser(line, folders);
    case Verb::Help:
        std::fputs(kUsage, stdout);
        return EXIT_SUCCESS;
    case Verb::Version:
        std::printf("lumhost %s\n", kVersion);
        return EXIT_SUCCESS;
    }
    return kWrongUse;
}

int Main(const std::vector<std::string> &arguments) {
    const auto line = ReadCommandLine(arguments);
    if (const auto *problem = std::get_if<std::string>(&line)) {
        Complain(base::OneLine(*problem));
        std::fputs("Type \"lumhost --help\" for what it can do.\n", stderr);
        return kWrongUse;
    }
    try {
        return Do(std::get<CommandLine>(line), Folders::OfUser());
    } catch (const std::exception &failure) { // no thread, no memory
        Complain(failure.what());
        return EXIT_FAILURE;
    }
}

} // namespace

} // namespace lumhost

int main(int argc, char **argv) {
    // File names are UTF-8 whatever the locale says; read when Foundation first needs it.
    setenv("GNUSTEP_STRING_ENCODING", "NSUTF8StringEncoding", 0);
    std::setlocale(LC_CTYPE, "");
    HideArguments(argv);
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    const int status = lumhost::Main({argv + 1, argv + argc});
    [pool drain];
    return status;
}
