#include "host/verbs/StartVerb.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>

#include "base/Text.h"
#include "host/Process.h"
#include "host/frontend/JsonEvents.h"
#include "host/frontend/Terminal.h"
#include "host/installed/InstallNotes.h"
#include "host/run/Alerts.h"
#include "host/run/EndReason.h"
#include "host/run/ExtensionCopy.h"
#include "host/run/PageSource.h"
#include "host/run/Run.h"
#include "host/run/WindowServer.h"
#include "host/sites/Origins.h"

namespace lumhost {

namespace {

// The time that --timeout gives: for everything, the page and the question included.
class Deadline {
public:
    explicit Deadline(std::optional<std::chrono::milliseconds> timeout) : m_timeout(timeout) {}

    std::optional<std::chrono::milliseconds> Left() const {
        if (!m_timeout) {
            return std::nullopt;
        }
        const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_began);
        return std::max(*m_timeout - passed, std::chrono::milliseconds(0));
    }
    bool IsOver() const {
        return Left() == std::chrono::milliseconds(0);
    }

private:
    using Clock = std::chrono::steady_clock;

    const Clock::time_point m_began = Clock::now();
    const std::optional<std::chrono::milliseconds> m_timeout;
};

bool MustStop(const Deadline &deadline) {
    return PendingSignal() != 0 || deadline.IsOver();
}

// What a signal or the deadline has stopped failed because of that, whatever `ending` and `text` say.
int Fail(EventSink &sink, const Deadline &deadline, Ending ending, std::string text) {
    if (const int signal = PendingSignal()) {
        const int status = static_cast<int>(Ending::Signal) + signal;
        text = ReasonOfSignal(signal, false);
        Complain(text);
        sink.OnEnd(status, text, 0);
        return status;
    }
    if (deadline.IsOver()) {
        ending = Ending::OutOfTime;
        text = ReasonOfTimeout(std::nullopt, false);
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

// The page with the user's own parameters.
base::Result<delivery::Page> ReadPage(const CommandLine &line, const Folders &folders, const Deadline &deadline) {
    const std::string &place = line.operands.front();
    const auto text = GetPage(place, folders, [&] { return MustStop(deadline); });
    if (!text) {
        return base::Fail(text.error());
    }
    delivery::Page page(text->address);
    if (!page.ReadObject(text->html)) {
        return base::Fail(place + ": there is nothing to start on this page (no <object> or <embed> of the type " +
                          "application/x-lum)");
    }
    for (const auto &[name, value] : line.parameters) {
        page.Set(name, value);
    }
    return page;
}

// So that a signal or the deadline ends the question.
class QuestionClient final : public MainLoop::Client {
public:
    explicit QuestionClient(const Deadline &deadline) : m_deadline(deadline) {}

private:
    void Control() override {
        if (MustStop(m_deadline)) {
            MainLoop::EndModal();
        }
    }
    void Beat() override {}
    void Woken() override {}
    void WindowsCame() override {}

    const Deadline &m_deadline;
};

Permission Ask(const std::vector<std::string> &sites, const Deadline &deadline) {
    if (!CanShowWindows()) {
        return Permission::No;
    }
    QuestionClient client(deadline);
    const MainLoop loop(client);
    return AskPermission(sites);
}

void Remember(const std::vector<std::string> &sites, Origins &origins) {
    for (const std::string &site : sites) {
        if (const base::Result<void> kept = origins.Allow(site); !kept) {
            Complain("the permission for " + site + " was not saved: " + kept.error().text);
        }
    }
}

// Whether the sites may act; asks where there is a window server. The Error says what the user has to type.
base::Result<void> CheckAllowed(const std::vector<std::string> &sites, const Folders &folders,
                                const Deadline &deadline) {
    Origins origins(folders.Origins());
    if (!origins.problem().empty()) {
        Complain(origins.problem());
    }
    std::vector<std::string> unknown;
    for (const std::string &site : sites) {
        if (!origins.IsAllowed(site)) {
            unknown.push_back(site);
        }
    }
    const Permission answer = unknown.empty() ? Permission::Once : Ask(unknown, deadline);
    if (answer == Permission::Always) {
        Remember(unknown, origins);
    }
    if (answer != Permission::No) {
        return {};
    }
    std::string text;
    for (const std::string &site : unknown) {
        text += (text.empty() ? "" : "; ") + ("pages of " + site + " are not allowed to start anything. " +
                                              "If you know this site, type: lumhost allow " + site);
    }
    return base::Fail(text);
}

// What follows when the page is known. `sites` must be allowed.
int StartSites(delivery::Page page, const std::vector<std::string> &sites, Scrutiny scrutiny, const Deadline &deadline,
               const CommandLine &line, const Folders &folders, EventSink &sink) {
    TraceFile log;
    if (const base::Result<void> opened = line.log.empty() ? base::Result<void>() : log.Open(line.log); !opened) {
        return Fail(sink, deadline, Ending::WrongUse, opened.error().text);
    }
    if (const base::Result<void> allowed = CheckAllowed(sites, folders, deadline); !allowed) {
        return Fail(sink, deadline, Ending::NotAllowed, allowed.error().text);
    }
    SettleInstallNotes(folders);
    const std::filesystem::path bundle = BundleToLoad(line.extension, folders);
    const base::Result<Extension> extension = Extension::Load(bundle);
    if (!extension) {
        return Fail(sink, deadline, Ending::NoExtension, extension.error().text);
    }
    Run run({.page = std::move(page),
             .sites = sites,
             .confined = Origins(folders.Origins()).Confined(sites),
             .extension = *extension,
             .bundle = bundle,
             .timeout = deadline.Left(),
             .open = line.open,
             .alerts = CanShowWindows(),
             .scrutiny = scrutiny},
            folders, log, sink);
    return run.Go().status;
}

int Start(const CommandLine &line, const Folders &folders, EventSink &sink) {
    const Deadline deadline(line.timeout);
    base::Result<delivery::Page> page = ReadPage(line, folders, deadline);
    if (!page) {
        return Fail(sink, deadline, Ending::NoPage, page.error().text);
    }
    const std::vector<std::string> sites = page->Sites();
    return StartSites(std::move(*page), sites, Scrutiny::Programs, deadline, line, folders, sink);
}

// A start that only installs has nothing to tell of a page or an application.
class RepairSink final : public EventSink {
public:
    void OnState(State state, const std::string &detail) override {
        m_terminal.OnState(state, detail);
    }
    void OnProgress(const Progress &progress) override {
        m_terminal.OnProgress(progress);
    }
    void OnMessage(const Message &message) override {
        m_terminal.OnMessage(message);
    }
    void OnNavigation(const Navigation & /*navigation*/) override {}
    void OnLaunch(const Launch & /*launch*/) override {}
    void OnLogRequest(const LogRequest & /*request*/) override {}
    void OnProblem(const std::string &text) override {
        m_terminal.OnProblem(text);
    }
    void OnNotice(const std::string &text) override {
        m_terminal.OnNotice(text);
    }
    void OnSettled(const std::string & /*reason*/) override {}
    void OnEnd(int /*status*/, const std::string & /*reason*/, int /*message*/) override {}

private:
    Terminal m_terminal{stdout, TerminalWidth(stdout)};
};

// Downloads, and then goes to a page that nobody opens: that is how the extension ends such a start at once.
int InstallOnly(delivery::Page page, std::vector<std::string> sites, const CommandLine &line, const Folders &folders) {
    page.Set("LumDownloadOnly", "TRUE");
    page.Set("szNextUrl", "about:blank");
    page.Set("LumSuppressInstallation", "");
    RepairSink sink;
    return StartSites(std::move(page), sites, Scrutiny::EveryFile, Deadline(line.timeout), line, folders, sink);
}

} // namespace

int StartPage(const CommandLine &line, const Folders &folders) {
    WatchSignals();
    RaiseDescriptorLimit();
    return Start(line, folders, *NewSink(line.json));
}

bool IsPage(const std::string &word) {
    std::error_code error;
    return word.find("://") != std::string::npos || std::filesystem::is_regular_file(word, error);
}

int RepairPage(const CommandLine &line, const Folders &folders) {
    WatchSignals();
    RaiseDescriptorLimit();
    base::Result<delivery::Page> page = ReadPage(line, folders, Deadline({}));
    if (!page) {
        Complain(page.error().text);
        return static_cast<int>(Ending::NoPage);
    }
    std::vector<std::string> sites = page->Sites();
    return InstallOnly(std::move(*page), std::move(sites), line, folders);
}

int RepairFrom(const InstalledSource &source, const CommandLine &line, const Folders &folders) {
    WatchSignals();
    RaiseDescriptorLimit();
    delivery::Page page;
    for (const auto &[name, value] : source.parameters) {
        page.Set(name, value);
    }
    std::vector<std::string> sites = page.Sites();
    if (!source.page.empty() && source.page != source.site) {
        sites.push_back(source.page);
    }
    return InstallOnly(std::move(page), std::move(sites), line, folders);
}

} // namespace lumhost
