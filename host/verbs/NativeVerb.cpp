#include "host/verbs/NativeVerb.h"

#include <algorithm>

#include "base/Text.h"
#include "host/Process.h"
#include "host/browser/BrowserIds.h"
#include "host/browser/NativeEvents.h"
#include "host/installed/InstallNotes.h"
#include "host/run/ExtensionCopy.h"
#include "host/run/Run.h"
#include "host/run/WindowServer.h"
#include "host/sites/Origins.h"

namespace lumhost {

namespace {

using namespace std::chrono_literals;

constexpr auto kGrace = 700ms; // for an orderly end, after the page was left
constexpr int kLeft = static_cast<int>(Ending::Left);

int Status(Ending ending) {
    return static_cast<int>(ending);
}

// Chromium names its extension, Firefox its manifest and then the extension; a person who tries it out names none.
bool IsOwnExtension(const std::vector<std::string> &caller) {
    if (caller.empty()) {
        return true;
    }
    return caller.back() == kFirefoxExtension ||
           caller.front() == std::string(kChromiumScheme) + std::string(kChromiumExtension) + "/";
}

int Refuse(NativeEvents &events, const NativeRefusal &refusal) {
    events.Refuse(refusal);
    events.OnEnd(Status(Ending::WrongUse), refusal.text, 0);
    return Status(Ending::WrongUse);
}

delivery::Page PageOf(const NativeStart &start) {
    delivery::Page page(start.page);
    for (const auto &[name, value] : start.parameters) {
        if (!page.Find(name)) { // of two with one name the first counts
            page.Set(name, value);
        }
    }
    return page;
}

// Saves what the user has just answered in the browser, unless in a private window, and returns the sites that are
// still not allowed. An answer about another site than the page's is ignored.
std::vector<std::string> NotAllowed(const NativeStart &start, const std::vector<std::string> &sites,
                                    const Folders &folders, NativeEvents &events) {
    Origins origins(folders.Origins());
    if (!origins.problem().empty()) {
        events.OnProblem(origins.problem());
    }
    std::vector<std::string> unknown;
    for (const std::string &site : sites) {
        const bool granted = std::find(start.granted.begin(), start.granted.end(), site) != start.granted.end();
        if (!granted && !origins.IsAllowed(site)) {
            unknown.push_back(site);
        } else if (granted && !start.isPrivate) {
            if (const base::Result<void> kept = origins.Allow(site); !kept) {
                events.OnProblem("the permission for " + site + " was not saved: " + kept.error().text);
            }
        }
    }
    return unknown;
}

int Fail(NativeEvents &events, Ending ending, const std::string &reason) {
    events.OnEnd(Status(ending), reason, 0);
    return Status(ending);
}

// What the pipe says about the end.
std::optional<RunEnd> EndFromBrowser(const NativePipe &pipe, NativeEvents &events) {
    switch (pipe.news()) {
    case NativePipe::News::None:
        return std::nullopt;
    case NativePipe::News::Left:
        return RunEnd{kLeft, "the page was left", 0};
    case NativePipe::News::Chatter:
        break;
    }
    const NativeRefusal refusal{"too-many", "the browser's extension may send one message, and has sent more"};
    events.Refuse(refusal);
    return RunEnd{Status(Ending::WrongUse), refusal.text, 0};
}

int Go(const NativeStart &start, const CommandLine &line, const Folders &folders, NativePipe &pipe,
       NativeEvents &events) {
    delivery::Page page = PageOf(start);
    const std::vector<std::string> sites = page.Sites();
    if (const auto unknown = NotAllowed(start, sites, folders, events); !unknown.empty()) {
        events.Forbid(unknown);
        return Fail(events, Ending::NotAllowed, "the site is not allowed");
    }
    TraceFile log;
    if (const base::Result<void> opened = line.log.empty() ? base::Result<void>() : log.Open(line.log); !opened) {
        return Fail(events, Ending::WrongUse, opened.error().text);
    }
    SettleInstallNotes(folders);
    const std::filesystem::path bundle = BundleToLoad(line.extension, folders);
    const base::Result<Extension> extension = Extension::Load(bundle);
    if (!extension) {
        events.OnProblem(base::OneLine(extension.error().text) + "; \"lumhost doctor\" says more");
        return Fail(events, Ending::NoExtension, "the extension cannot be loaded");
    }
    Run run({.page = std::move(page),
             .sites = sites,
             .confined = Origins(folders.Origins()).Confined(sites),
             .extension = *extension,
             .bundle = bundle,
             .timeout = line.timeout,
             .alerts = CanShowWindows(),
             .untilLeft = true,
             .outside = [&pipe, &events] { return EndFromBrowser(pipe, events); }},
            folders, log, events);
    return run.Go().status;
}

} // namespace

int StartForBrowser(const CommandLine &line, const Folders &folders) {
    WatchSignals();
    RaiseDescriptorLimit();
    NativePipe pipe;
    NativeEvents events(pipe);
    if (!IsOwnExtension(line.operands)) {
        return Refuse(events, {"caller", "only the extension " + std::string(kChromiumExtension) + " may use lumhost"});
    }
    events.Hello();
    const auto message = pipe.Receive();
    if (!message) {
        return Refuse(events, message.error());
    }
    if (!*message) {
        return kLeft;
    }
    const auto start = ReadNativeStart(**message);
    if (!start) {
        return Refuse(events, start.error());
    }
    pipe.Listen(kGrace, kLeft);
    return Go(*start, line, folders, pipe, events);
}

} // namespace lumhost
