// The program: reads the command line and calls the verb.
#include <clocale>
#include <cstdio>
#include <cstdlib>

#import <Foundation/Foundation.h>

#import "base/objc/ScopedPool.h"
#include "base/Text.h"
#include "host/Process.h"
#include "host/frontend/EventSink.h"
#include "host/installed/ComponentState.h"
#include "host/release/ReleaseState.h"
#include "host/sites/Origins.h"
#include "host/trace/LastStart.h"
#include "host/verbs/BrowserVerb.h"
#include "host/verbs/CommandLine.h"
#include "host/verbs/Commands.h"
#include "host/verbs/Doctor.h"
#include "host/verbs/InstalledVerbs.h"
#include "host/verbs/NativeVerb.h"
#include "host/verbs/ReleaseVerb.h"
#include "host/verbs/StartVerb.h"
#include "lum/platform/linux/windows/UseTheme.h"

namespace lumhost {

namespace {

constexpr int kWrongUse = static_cast<int>(Ending::WrongUse);

int ChangeOrigins(const CommandLine &line, const Folders &folders) {
    const auto origin = ReadOrigin(line.operands.front());
    if (!origin) {
        Complain(base::Quoted(line.operands.front()) +
                 " is not a valid site; expected for example https://meet.example");
        return kWrongUse;
    }
    Origins origins(folders.Origins());
    const bool allow = line.verb == CommandLine::Verb::Allow;
    if (const base::Result<void> pinned = allow ? PinSite(line, *origin, folders) : UnpinSite(*origin, folders);
        !pinned) {
        Complain(pinned.error().text);
        return EXIT_FAILURE;
    }
    const Reach reach = line.anywhere ? Reach::Anywhere : Reach::KelvoFolder;
    if (const base::Result<void> changed = allow ? origins.Allow(*origin, reach) : origins.Forbid(*origin); !changed) {
        Complain(changed.error().text);
        return EXIT_FAILURE;
    }
    std::printf("%s: %s%s\n", allow ? "allowed" : "not allowed", origin->c_str(),
                allow && line.anywhere ? ", to install anywhere: it may replace and delete all of your files" : "");
    return line.removeToo ? RemoveOfSite(*origin, folders) : EXIT_SUCCESS;
}

int ListOrigins(const Folders &folders) {
    const Origins origins(folders.Origins());
    if (!origins.problem().empty()) {
        Complain(origins.problem());
        return EXIT_FAILURE;
    }
    std::vector<base::Error> unusable;
    std::vector<Pin> others = PinsOf(folders).All(&unusable);
    for (const auto &[origin, reach] : origins.all()) {
        std::printf("%s%s\n", origin.c_str(), reach == Reach::Anywhere ? "  may install anywhere" : "");
        std::fputs(TakePinText(origin, others).c_str(), stdout);
    }
    for (const Pin &pin : others) {
        std::printf("%s  not allowed\n%s", pin.site.c_str(), PinText(pin).c_str());
    }
    for (const base::Error &error : unusable) {
        Complain(error.text);
    }
    return EXIT_SUCCESS;
}

int DoDoctor(const Folders &folders) {
    const base::Findings findings = Examine(folders);
    std::fputs(ToText(findings).c_str(), stdout);
    return base::HasErrors(findings) ? EXIT_FAILURE : EXIT_SUCCESS;
}

int PackReport(const CommandLine &line, const Folders &folders) {
    const std::string installed = Listing(ComponentStates(folders), folders) + ReleaseListing(PinsOf(folders).All());
    if (const auto packed = LastStart::Pack(folders, installed, ToText(Examine(folders)), line.report); !packed) {
        Complain(packed.error().text);
        return EXIT_FAILURE;
    }
    // Standard output may be read by a program.
    Complain(line.report.string() + " contains the support report; its README.txt lists what is included");
    return EXIT_SUCCESS;
}

// A start leaves the folder that it was typed in.
void MakeAbsolute(std::filesystem::path &path) {
    path = path.empty() ? path : std::filesystem::absolute(path);
}

int Start(CommandLine line, const Folders &folders) {
    MakeAbsolute(line.report);
    MakeAbsolute(line.extension);
    UseTheme(OwnPart(kTheme).c_str());
    const int status = StartPage(line, folders);
    if (!line.report.empty()) {
        PackReport(line, folders);
    }
    return status;
}

int StartRepair(CommandLine line, const Folders &folders) {
    MakeAbsolute(line.extension);
    UseTheme(OwnPart(kTheme).c_str());
    return Repair(line, folders);
}

int StartNative(CommandLine line, const Folders &folders) {
    MakeAbsolute(line.extension);
    UseTheme(OwnPart(kTheme).c_str());
    return StartForBrowser(line, folders);
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
    case Verb::Doctor:
        return DoDoctor(folders);
    case Verb::Status:
        return ShowStatus(line, folders);
    case Verb::Remove:
        return Remove(line, folders);
    case Verb::Repair:
        return StartRepair(line, folders);
    case Verb::Report:
        return PackReport(line, folders);
    case Verb::BrowserInstall:
    case Verb::BrowserUninstall:
    case Verb::BrowserStatus:
        return DoBrowser(line, folders);
    case Verb::Native:
        return StartNative(line, folders);
    case Verb::Help:
        std::fputs(base::HelpText(Commands(), line.operands.front()).c_str(), stdout);
        return EXIT_SUCCESS;
    case Verb::Version:
        std::printf("lumhost %s\n", kVersion);
        return EXIT_SUCCESS;
    }
    return kWrongUse;
}

int Main(const std::vector<std::string> &arguments) {
    const base::Result<CommandLine> line = ReadCommandLine(arguments);
    if (!line) {
        Complain(line.error().text);
        return kWrongUse;
    }
    try {
        return Do(*line, Folders::OfUser());
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
    const base::ScopedPool pool;
    return lumhost::Main({argv + 1, argv + argc});
}
