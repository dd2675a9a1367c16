#include "host/verbs/NativeVerb.h"

#include <algorithm>

#include "host/run/BundleToLoad.h"
#include "host/installed/InstallNotes.h"
#include "host/browser/NativeEvents.h"
#include "host/sites/Origins.h"
#include "host/run/Run.h"
#include "host/browser/BrowserIds.h"
#include "host/verbs/DescriptorLimit.h"
#include "host/run/Signals.h"
#include "base/Text.h"
#include "host/run/WindowServer.h"

namespace lumhost {

namespace {

using namespace std::chrono_literals;

constexpr auto kGrace = 700ms; // to end in order, once the page is left
constexpr int kLeft = static_cast<int>(Ending::Left);

int Status(Ending ending) {
    return static_cast<int>(ending);
}

// Chromium names its extension, Firefox its manifest and then the extension; a person who tries it out names nobody.
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

// Keeps what the user has just answered in the browser, and tells which sites are still not allowed. An answer about
// another site than the page's is none.
std::vector<std::string> NotAllowed(const NativeStart &start, const std::vector<std::string> &sites, Origins &origins,
                                    NativeEvents &events) {
    std::vector<std::string> unknown;
    for (const std::string &site : sites) {
        const bool granted = std::find(start.granted.begin(), start.granted.end(), site) != start.granted.end();
        if (std::string error; granted && !origins.Allow(site, &error)) {
            events.OnProblem("this permission could not be kept: " + error);
        }
        if (!granted && !origins.IsAllowed(site)) {
            unknown.push_back(site);
        }
    }
    return unknown;
}

int Go(const NativeStart &start, const CommandLine &line, const Folders &folders, NativePipe &pipe,
       NativeEvents &events) {
    delivery::Page page = PageOf(start);
    const std::vector<std::string> sites = page.Sites();
    Origins origins(folders.config / "allowed-origins");
    if (const auto unknown = NotAllowed(start, sites, origins, events); !unknown.empty()) {
        events.Forbid(unknown);
        events.OnEnd(Status(Ending::NotAllowed), "the site is not allowed", 0);
        return Status(Ending::NotAllowed);
    }
    std::string error;
    TraceFile log;
    if (!line.log.empty() && !log.Open(line.log, &error)) {
        events.OnEnd(Status(Ending::WrongUse), "the trace cannot be written: " + error, 0);
        return Status(Ending::WrongUse);
    }
    SettleInstallNotes(folders);
    const std::filesystem::path bundle = BundleToLoad(line.extension, folders);
    const auto extension = Extension::Load(bundle, error);
    if (!extension) {
        events.OnProblem("lumhost cannot load its extension: " + base::OneLine(error) +
                         "; \"lumhost doctor\" says more");
        events.OnEnd(Status(Ending::NoExtension), "the extension cannot be loaded", 0);
        return Status(Ending::NoExtension);
    }
    const auto outside = [&pipe, &events]() -> std::optional<RunEnd> {
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
    };
    Run run({std::move(page), sites, *extension, bundle, line.timeout, false, CanShowWindows(), true, outside}, folders,
            log, events);
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
    const auto received = pipe.Receive();
    if (const auto *refusal = std::get_if<NativeRefusal>(&received)) {
        return Refuse(events, *refusal);
    }
    const auto *message = std::get_if<std::string>(&received);
    if (!message) {
        return kLeft;
    }
    const auto start = ReadNativeStart(*message);
    if (const auto *refusal = std::get_if<NativeRefusal>(&start)) {
        return Refuse(events, *refusal);
    }
    pipe.Listen(kGrace, kLeft);
    return Go(std::get<NativeStart>(start), line, folders, pipe, events);
}

} // namespace lumhost
