// One run of an instance: connects the instance, the run loop, the traces, the front end and the decision about the
// end. host/verbs/StartVerb.h shows what calls it, and what it calls.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "host/frontend/EventSink.h"
#include "host/installed/InstallRecorder.h"
#include "host/run/Instance.h"
#include "host/run/InstructionGate.h"
#include "host/trace/LastStart.h"
#include "host/run/MainLoop.h"
#include "host/run/Navigator.h"
#include "host/frontend/ProgressMeter.h"
#include "host/run/RunWatch.h"
#include "host/trace/TraceCollector.h"
#include "host/trace/TraceFile.h"

namespace lumhost {

struct RunEnd {
    int status;
    std::string reason; // what happened, in words
    int message;        // number of the last message, or 0
};

class Run final : public MainLoop::Client, public InstanceOwner {
public:
    struct Settings {
        delivery::Page page;
        std::vector<std::string> sites;    // downloads come from these only
        std::vector<std::string> confined; // those of them that may install into "Kelvo Folder" only
        Extension extension;
        std::filesystem::path bundle;
        std::optional<std::chrono::milliseconds> timeout = {};
        bool open = false; // the next page in the desktop's browser
        bool alerts = false;
        Scrutiny scrutiny = Scrutiny::Programs; // of what is installed, before the extension decides what to fetch
        // Goes on until the page is left, as in a browser, also when everything is done: a player's page is sent home
        // at the end.
        bool untilLeft = false;
        // Asked several times a second: whether to end for a reason from outside. May be empty.
        std::function<std::optional<RunEnd>()> outside = {};
    };

    // `log` and the front end must outlive this.
    Run(Settings settings, const Folders &folders, TraceFile &log, EventSink &sink);
    ~Run() override;
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;

    // Once. The front end has been told of the end when this returns.
    RunEnd Go();

private:
    using Clock = std::chrono::steady_clock;

    // MainLoop::Client
    void Control() override;
    void Beat() override;
    void Woken() override;
    void WindowsCame() override;

    // InstanceOwner
    void ShowMessage(const std::string &text) override;
    void SendPage(const char *target, const char *url) override;
    void LogRequested(const std::string &url) override;
    void DownloadAsked(const std::string &url) override;
    void Received(std::uint32_t bytes) override;
    void Delivered() override;
    void NothingToDo(const std::string &why) override;
    void Installing(const std::string &name) override;
    void KeepWindowsAlive(const std::function<bool(std::chrono::milliseconds)> &ended) override;
    void Moving(const std::filesystem::path &destination, std::uint64_t number,
                std::vector<delivery::UnpackedFile> files) override;
    void NotMoved(const std::filesystem::path &destination) override;
    void Installed(const std::filesystem::path &destination) override;
    base::Result<std::string> InstructionsCame(const delivery::TransferResult &result) override;
    void Problem(const std::string &text) override;
    void StopAsked() override;

    void Trace(const TraceLine &line);
    void Heard(const TraceNews &news);
    void SecondMeetingRefused();
    void TellMessage(int number, const std::string &text);
    void SessionWillLaunch();
    void SessionLaunched(int pid);
    void TellLaunch();
    void SetState(State state, const std::string &detail = {});
    void TellProgress(bool atOnce);
    bool StartInstance();
    void Settle(const RunWatch::Verdict &verdict);
    void WatchServer();
    // What is due between two calls of the extension: alerts, reports, the end.
    void AfterCall();
    void ShowAlerts();
    void AddAlert(const std::string &text, const std::string &why);
    void AskToEnd(RunEnd end);
    void Finish(RunEnd end);
    RunEnd EndOf(const RunWatch::Verdict &verdict) const;
    std::string WhyNothing() const;
    std::string WhyMessage(int number) const;

    const Settings m_settings;
    const Folders m_folders;
    const InstructionGate m_gate;
    const std::thread::id m_mainThread = std::this_thread::get_id();
    const Clock::time_point m_began = Clock::now();
    TraceFile &m_log;
    EventSink &m_sink;
    Navigator m_navigator;
    LastStart m_lastStart;
    InstallRecorder m_recorder;
    RunWatch m_watch;
    ProgressMeter m_meter;
    TraceCollector m_collector;
    MainLoop m_loop;
    std::unique_ptr<delivery::Transfers> m_transfers;
    SiteDownloads m_downloads;
    std::unique_ptr<Instance> m_instance;

    std::optional<State> m_state;
    std::string m_stateDetail;
    std::string m_packageUrl;            // the extension is about to ask for this package
    int m_messageNumber = 0;             // of the message that it is about to show
    std::string m_problem;               // of the download that the extension is dealing with
    std::string m_complaint;             // the last one on standard error
    std::pair<int, std::string> m_cause; // a message, and why it was shown
    std::string m_nothingToDo;           // why
    bool m_tried = false;                // to start an application
    std::deque<std::string> m_alerts;
    bool m_showing = false; // an alert
    bool m_settled = false;
    std::uint64_t m_toldBytes = 0;
    Clock::time_point m_toldAt;
    std::optional<RunEnd> m_asked; // from outside: a signal, the time limit
    std::optional<RunEnd> m_end;
};

} // namespace lumhost
