#include "host/verbs/StartVerb.h"

#include <cstdio>
#include <memory>

#include "host/run/Alerts.h"
#include "host/run/BundleToLoad.h"
#include "host/installed/InstallNotes.h"
#include "host/frontend/JsonEvents.h"
#include "host/sites/Origins.h"
#include "host/run/PageSource.h"
#include "host/run/Run.h"
#include "host/frontend/Terminal.h"
#include "host/frontend/Complain.h"
#include "host/verbs/DescriptorLimit.h"
#include "host/run/Signals.h"
#include "base/Text.h"
#include "host/Version.h"
#include "host/run/WindowServer.h"

namespace lumhost {

namespace {

int Fail(EventSink &sink, Ending ending, const std::string &text) {
    if (const int signal = PendingSignal()) { // whatever failed, it failed because of that
        const int status = static_cast<int>(Ending::Signal) + signal;
        sink.OnEnd(status, "ended by a signal", 0);
        return status;
    }
    Complain(text);
    sink.OnEnd(static_cast<int>(ending), text, 0);
    return static_cast<int>(ending);
}

std::unique_ptr<EventSink> NewSink(bool json) {
    if (json) {
        return std::make_unique<JsonLines>(stdout);
    }
    return std::make_unique<Terminal>(stdout, TerminalWidth(stdout));
}

// The page with the user's own parameters; nothing, with a sentence, when it cannot be had or has nothing to start.
std::optional<delivery::Page> ReadPage(const CommandLine &line, const Folders &folders, std::string &error) {
    const std::string &place = line.operands.front();
    delivery::TransferSettings settings;
    settings.folder = folders.cache;
    settings.userAgent = std::string("lumhost/") + kVersion;
    std::string reason;
    const auto text = GetPage(
        place, settings, [] { return PendingSignal() != 0; }, reason);
    if (!text) {
        error = base::OneLine(place) + ": " + base::OneLine(reason);
        return std::nullopt;
    }
    delivery::Page page(text->address);
    if (!page.ReadObject(text->html)) {
        error = base::OneLine(place) + ": there is nothing to start on this page (no <object> or <embed> of the type " +
                "application/x-lum)";
        return std::nullopt;
    }
    for (const auto &[name, value] : line.parameters) {
        page.Set(name, value);
    }
    return page;
}

// So that a signal ends the question.
class Patience final : public MainLoop::Client {
    void Control() override {
        if (PendingSignal() != 0) {
            MainLoop::EndModal();
        }
    }
    void Beat() override {}
    void Woken() override {}
    void WindowsCame() override {}
};

Permission Ask(const std::vector<std::string> &sites) {
    Patience patience;
    const MainLoop loop(patience);
    return AskPermission(sites);
}

// Whether the sites may act; asks where there is somebody to ask. Otherwise `error` says what the user has to type.
bool AreAllowed(const std::vector<std::string> &sites, Origins &origins, std::string &error) {
    std::vector<std::string> unknown;
    for (const std::string &site : sites) {
        if (!origins.IsAllowed(site)) {
            unknown.push_back(site);
        }
    }
    if (unknown.empty()) {
        return true;
    }
    const Permission answer = CanShowWindows() ? Ask(unknown) : Permission::No;
    if (answer == Permission::Once) {
        return true;
    }
    for (const std::string &site : unknown) {
        if (answer == Permission::No) {
            error += (error.empty() ? "" : "; ") + ("pages of " + site + " are not allowed to start anything. " +
                                                    "If you know this site, type: lumhost allow " + site);
        } else if (std::string reason; !origins.Allow(site, &reason)) {
            Complain("this permission could not be kept: " + reason);
        }
    }
    return answer == Permission::Always;
}

} // namespace

int StartPage(const CommandLine &line, const Folders &folders) {
    WatchSignals();
    RaiseDescriptorLimit();
    const std::unique_ptr<EventSink> sink = NewSink(line.json);
    std::string error;
    TraceFile log;
    if (!line.log.empty() && !log.Open(line.log, &error)) {
        return Fail(*sink, Ending::WrongUse, line.log.string() + ": " + error);
    }
    std::optional<delivery::Page> page = ReadPage(line, folders, error);
    if (!page) {
        return Fail(*sink, Ending::NoPage, error);
    }
    Origins origins(folders.config / "allowed-origins");
    const std::vector<std::string> sites = page->Sites();
    if (!AreAllowed(sites, origins, error)) {
        return Fail(*sink, Ending::NotAllowed, error);
    }
    SettleInstallNotes(folders);
    const std::filesystem::path bundle = BundleToLoad(line.extension, folders);
    const auto extension = Extension::Load(bundle, error);
    if (!extension) {
        return Fail(*sink, Ending::NoExtension, bundle.string() + ": " + error);
    }
    Run run({std::move(*page), sites, *extension, bundle, line.timeout, line.open, CanShowWindows(), false, {}},
            folders, log, *sink);
    return run.Go().status;
}

} // namespace lumhost
