#include "host/run/Run.h"

#include <cstdio>
#include <unistd.h>

#include "host/run/Alerts.h"
#include "host/trace/TraceObserver.h"
#include "host/trace/MessageNumber.h"
#include "lum/lumext/TraceLines.h"
#include "base/Files.h"
#include "base/Processes.h"
#include "base/Text.h"
#include "host/Process.h"
#include "host/run/EndReason.h"
#include "host/run/InstructionReview.h"
#include "host/run/PageSource.h"
#include "host/run/WindowServer.h"

namespace lumhost {

namespace {

using namespace std::chrono_literals;

constexpr auto kTelling = 250ms;      // between two reports of the progress
constexpr auto kLastRequests = 3s;    // for requests to the site's log, at the end
constexpr auto kLeftRequests = 300ms; // the same when the browser waits for the end
constexpr std::uint64_t kLargestInstructions = 64 << 20;

bool PageWaits(const delivery::Page &page) {
    const std::string *value = page.Find("klvpagewaiting_value");
    return value && *value == LUM_PAGE_WAITS;
}

// Whether this process started that one.
bool IsChild(int pid) {
    const auto status = base::StatusOfProcess(pid);
    return status && status->parent == getpid();
}

} // namespace

Run::Run(Settings settings, const Folders &folders, TraceFile &log, EventSink &sink)
    : m_settings(std::move(settings)), m_folders(folders),
      m_gate(folders, m_settings.page, m_settings.confined, m_settings.scrutiny), m_log(log), m_sink(sink),
      m_navigator(m_settings.page, sink, m_settings.open), m_lastStart(folders, m_settings.page, m_settings.bundle),
      m_recorder(folders, SourceOf(m_settings.page)), m_watch(PageWaits(m_settings.page), m_began), m_loop(*this),
      m_transfers(std::make_unique<delivery::Transfers>(SettingsOfTransfers(folders), m_loop.Waker())),
      m_downloads(m_settings.page, Pins(folders.Releases(), folders.AdministratorsRoots()), folders.cache, *m_transfers,
                  m_loop.Waker(),
                  {[&sink](const std::string &text) { sink.OnNotice(text); },
                   [this](const std::string &release) { m_lastStart.Note("release", release); }}),
      m_instance(std::make_unique<Instance>(m_settings.extension, m_settings.page, m_settings.sites, m_downloads,
                                            *m_transfers, OwnPart(delivery::kUnpackProgram),
                                            folders.installed / kInstallLock, *this)) {
    m_collector.HideFromSite([redactor = Redactor(folders.home, UserName(), {})](std::string_view text) {
        return redactor.HidePerson(text);
    });
    m_collector.Listen([this](const TraceLine &line) { Trace(line); });
}

Run::~Run() = default;

RunEnd Run::Go() {
    const TraceObserver observer(m_collector,
                                 {[this] { SessionWillLaunch(); }, [this](int pid) { SessionLaunched(pid); }});
    WatchServer(); // it may go away while the first window is made
    SetState(State::Starting);
    if (StartInstance()) {
        m_loop.Run();
    }
    m_instance->End();
    m_transfers->WaitForRequests(m_asked && m_settings.untilLeft ? kLeftRequests : kLastRequests);
    TellProgress(true);
    m_lastStart.Note("longest pause of the windows", std::to_string(m_instance->LongestPause().count()) + " ms");
    m_lastStart.End(m_end->status, m_end->reason, m_end->message);
    if (m_end->status != 0 && m_end->reason != m_complaint) {
        Complain(m_end->reason);
    }
    m_sink.OnEnd(m_end->status, m_end->reason, m_end->message);
    WatchWindowServer([status = m_end->status] { return status; }); // everything has been reported
    return *m_end;
}

// False when the end is known already.
bool Run::StartInstance() {
    if (const base::Result<void> admitted = m_gate.AdmitPage(); !admitted) {
        Problem(admitted.error().text);
        m_end = RunEnd{static_cast<int>(Ending::NotAllowed), "the page may not install there", 0};
        return false;
    }
    EnterEmptyFolder(m_folders.state / "empty");
    const base::Result<void> started = m_instance->Start();
    m_watch.CallEnded(m_began, Clock::now());
    if (!started) {
        m_end = RunEnd{static_cast<int>(Ending::NoExtension), started.error().text, 0};
    }
    return started.has_value();
}

void Run::Control() {
    m_lastStart.Flush();
    m_instance->WindowsLive();
    if (const int signal = PendingSignal()) {
        AskToEnd({static_cast<int>(Ending::Signal) + signal, ReasonOfSignal(signal, m_transfers->KeepsParts()), 0});
    } else if (m_settings.timeout && Clock::now() - m_began >= *m_settings.timeout) {
        AskToEnd({static_cast<int>(Ending::OutOfTime), ReasonOfTimeout(m_state, m_transfers->KeepsParts()), 0});
    } else if (const auto end = m_settings.outside && !m_asked ? m_settings.outside() : std::nullopt) {
        AskToEnd(*end);
    }
    if (m_asked) {
        MainLoop::EndModal();
        if (!m_instance->InCall() && !m_showing) {
            Finish(*m_asked);
        }
    }
}

void Run::AskToEnd(RunEnd end) {
    if (!m_asked) {
        m_asked = std::move(end);
        m_instance->Stop();
    }
}

void Run::Beat() {
    if (m_end || m_asked || m_instance->InCall() || m_showing) {
        return;
    }
    const Clock::time_point began = Clock::now();
    m_instance->Beat();
    m_instance->Deliver(); // what came while the extension was busy
    m_watch.CallEnded(began, Clock::now());
    TellProgress(false);
    AfterCall();
}

void Run::Woken() {
    if (m_end || m_asked || m_instance->InCall() || m_showing) {
        return;
    }
    const Clock::time_point began = Clock::now();
    m_instance->Deliver();
    m_instance->Beat(); // what has come is acted upon at the next heartbeat: at once
    m_watch.CallEnded(began, Clock::now());
    TellProgress(false);
    AfterCall();
}

void Run::WindowsCame() {
    WatchServer();
}

void Run::WatchServer() {
    WatchWindowServer([this] {
        const RunEnd end{static_cast<int>(Ending::NoWindowServer), "the window server has gone away", 0};
        Complain(end.reason);
        m_lastStart.End(end.status, end.reason, end.message);
        m_sink.OnEnd(end.status, end.reason, end.message);
        return end.status;
    });
}

void Run::AfterCall() {
    ShowAlerts();
    if (m_asked || m_end) {
        return;
    }
    TellLaunch();
    if (const auto verdict = m_watch.Judge(m_instance->downloading() || m_instance->waiting(), Clock::now())) {
        Settle(*verdict);
    }
}

void Run::Settle(const RunWatch::Verdict &verdict) {
    if (!m_settings.untilLeft || verdict.ending != Ending::Done) {
        RunEnd end = EndOf(verdict);
        if (verdict.ending == Ending::NothingMore && !std::exchange(m_settled, true)) { // no message says it
            AddAlert({}, end.reason);
            ShowAlerts();
        }
        Finish(m_asked ? *m_asked : std::move(end));
    } else if (!m_settled) {
        m_settled = true;
        m_sink.OnSettled(EndOf(verdict).reason);
    }
}

void Run::TellLaunch() {
    const auto launch = m_watch.TakeLaunch();
    if (!launch) {
        return;
    }
    m_sink.OnLaunch(*launch);
    if (PageWaits(m_settings.page) && !launch->joined) {
        SetState(State::Waiting);
    }
}

void Run::ShowAlerts() {
    const std::string *title = m_settings.page.Find("LumMessageTitle");
    m_showing = true;
    while (!m_alerts.empty() && !m_asked) {
        const std::string text = m_alerts.front();
        m_alerts.pop_front();
        ShowAlert(title ? *title : "Kelvo", text);
    }
    m_showing = false;
}

void Run::Finish(RunEnd end) {
    m_end = std::move(end);
    m_loop.Quit();
}

RunEnd Run::EndOf(const RunWatch::Verdict &verdict) const {
    const int status = static_cast<int>(verdict.ending);
    switch (verdict.ending) {
    case Ending::Done:
        return {status, m_watch.IsSentOn() ? "the page was sent on" : "the application runs", verdict.message};
    case Ending::Message:
        return {status, WhyMessage(verdict.message), verdict.message};
    case Ending::Stopped:
        return {status, "stopped by the user", verdict.message};
    default:
        return {status, WhyNothing(), verdict.message};
    }
}

std::string Run::WhyMessage(int number) const {
    return m_cause.first == number && !m_cause.second.empty() ? m_cause.second : ReasonOfMessage(number);
}

std::string Run::WhyNothing() const {
    if (!m_nothingToDo.empty()) {
        return m_nothingToDo;
    }
    const std::string *component = m_settings.page.Find("LumComponentName");
    if (m_tried && component) {
        return "the page's component " + base::Quoted(*component) +
               " is not one that starts an application. Tell the operator of the site.";
    }
    const std::string *only = m_settings.page.Find("LumDownloadOnly");
    if (only && base::Lower(*only) == "true" && m_watch.IsAllInstalled()) {
        return "everything is installed; the page only downloads (LumDownloadOnly) and names no next page (szNextUrl)";
    }
    return "nothing is left to do, and nothing was started; \"lumhost --report FILE\" packs what support needs to know";
}

void Run::Trace(const TraceLine &line) {
    m_log.Add(line);
    m_lastStart.Add(line);
    if (std::this_thread::get_id() != m_mainThread) {
        return;
    }
    if (const auto news = ReadTrace(line.text)) {
        Heard(*news);
    }
}

void Run::Heard(const TraceNews &news) {
    m_watch.Heard(news, Clock::now());
    switch (news.kind) {
    case TraceNews::Kind::PackageAsked:
        m_meter.Announce(news.number);
        m_packageUrl = news.text;
        break;
    case TraceNews::Kind::ShowsMessage:
        m_messageNumber = static_cast<int>(news.number);
        break;
    case TraceNews::Kind::SecondMeeting:
        SecondMeetingRefused();
        break;
    case TraceNews::Kind::Starts:
        m_tried = true;
        m_instance->Launched();
        TellProgress(true);
        SetState(State::Launching);
        break;
    case TraceNews::Kind::Joined: // not within a call of the container's
        TellLaunch();
        break;
    default:
        break;
    }
}

void Run::SessionWillLaunch() {
    // Comes after the call in which the extension started the application; by then more may be known.
    if (m_state == State::Downloading || m_state == State::Installing) {
        SetState(State::Launching);
    }
}

void Run::SessionLaunched(int pid) {
    if (IsChild(pid)) { // others start meetings, too
        m_watch.Reported(pid, Clock::now());
    }
}

void Run::SetState(State state, const std::string &detail) {
    if (m_state == state && m_stateDetail == detail) {
        return;
    }
    m_state = state;
    m_stateDetail = detail;
    m_sink.OnState(state, detail);
}

void Run::TellProgress(bool atOnce) {
    const Clock::time_point now = Clock::now();
    const Progress progress = m_meter.Now(now);
    if (m_state == State::Starting || m_state == State::Instructions || progress.received == m_toldBytes ||
        (!atOnce && now - m_toldAt < kTelling)) {
        return;
    }
    m_toldBytes = progress.received;
    m_toldAt = now;
    m_sink.OnProgress(progress);
}

void Run::ShowMessage(const std::string &text) {
    const int number = m_messageNumber != 0 ? m_messageNumber : MessageNumber(text);
    m_messageNumber = 0;
    m_cause = {number, m_problem};
    TellMessage(number, text);
    m_watch.Shown(number, Clock::now());
    AddAlert(text, m_problem);
}

void Run::TellMessage(int number, const std::string &text) {
    Complain("message " + std::to_string(number) + ": " + base::OneLine(text));
    m_sink.OnMessage({number, text});
}

void Run::AddAlert(const std::string &text, const std::string &why) {
    if (m_settings.alerts) {
        const std::string_view words = base::Trim(text);
        m_alerts.push_back(std::string(words) + (words.empty() || why.empty() ? "" : "\n\n") + why);
    }
}

void Run::SecondMeetingRefused() {
    constexpr int kSecondMeeting = 24;
    if (m_messageNumber == kSecondMeeting) {
        return; // an ordinary message
    }
    m_watch.SecondMeeting(kSecondMeeting);
    if (m_settings.alerts) {
        TellMessage(kSecondMeeting, LUM_TEXT_SECOND_MEETING); // the extension shows its own alert
    } else {
        m_messageNumber = kSecondMeeting;
    }
}

void Run::SendPage(const char *target, const char *url) {
    m_navigator.SendTo(target, url);
    m_watch.SentOn();
}

void Run::LogRequested(const std::string &url) {
    m_sink.OnLogRequest({LogCode(url), url});
}

void Run::DownloadAsked(const std::string &url) {
    const bool isPackage = (!m_packageUrl.empty() && url == m_packageUrl) ||
                           m_state == State::Instructions; // the latter of an extension that does not trace
    if (isPackage) {
        SetState(State::Downloading);
    } else if (m_state == State::Starting) {
        SetState(State::Instructions);
    }
    m_packageUrl.clear();
}

void Run::Received(std::uint32_t bytes) {
    m_meter.Receive(Clock::now(), bytes);
    TellProgress(false);
}

void Run::Delivered() {
    m_problem.clear();
}

void Run::NothingToDo(const std::string &why) {
    m_nothingToDo = why;
    m_watch.NothingToDo();
}

void Run::Installing(const std::string &name) {
    TellProgress(true);
    SetState(State::Installing, name);
}

void Run::KeepWindowsAlive(const std::function<bool(std::chrono::milliseconds)> &ended) {
    m_loop.KeepWindowsAlive(ended);
}

void Run::Moving(const std::filesystem::path &destination, std::uint64_t number,
                 std::vector<delivery::UnpackedFile> files) {
    m_recorder.Moving(destination, number, std::move(files));
}

void Run::NotMoved(const std::filesystem::path &destination) {
    m_recorder.NotMoved(destination);
}

void Run::Installed(const std::filesystem::path &destination) {
    m_recorder.Add(destination);
    if (m_state == State::Installing && m_instance->downloading()) {
        SetState(State::Downloading);
    }
}

base::Result<std::string> Run::InstructionsCame(const delivery::TransferResult &result) {
    const base::Result<std::string> text = base::ReadWhole(result.file, kLargestInstructions);
    if (!text) {
        return base::Fail("the instruction file cannot be read: " + text.error().text);
    }
    const std::optional<base::Url> address = base::Url::Parse(result.address);
    InstructionReview review = ReviewInstructions(*text, m_settings.page, address ? address->host() : "");
    if (review.isForeign) {
        return base::Fail("a download failed: " + review.fault);
    }
    if (const base::Result<void> admitted = m_gate.Admit(result.file); !admitted) {
        return base::Fail(admitted.error());
    }
    m_instance->SetPackages(std::move(review.packages));
    return review.fault;
}

void Run::Problem(const std::string &text) {
    m_problem = m_complaint = text;
    Complain(text);
    m_sink.OnProblem(text);
}

void Run::StopAsked() {
    m_watch.AskedToStop();
}

} // namespace lumhost
