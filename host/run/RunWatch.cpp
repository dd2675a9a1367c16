#include "host/run/RunWatch.h"

namespace lumhost {

namespace {

// Those about one package that could not be installed.
bool IsAboutPackage(int message) {
    return message == 7 || message == 15 || message == 23 || (message >= 7001 && message <= 7011);
}

constexpr int kDidNotStart = 18;

} // namespace

void RunWatch::Runs(Application application, Clock::time_point now) {
    m_application = application;
    m_since = now;
    m_launchNews = true;
}

void RunWatch::Heard(const TraceNews &news, Clock::time_point now) {
    using Kind = TraceNews::Kind;
    switch (news.kind) {
    case Kind::MainReady:
        m_mainReady = true;
        break;
    case Kind::AllInstalled:
        m_allInstalled = true;
        break;
    case Kind::Process:
        m_launch.pid = static_cast<int>(news.number);
        break;
    case Kind::MeetingRuns:
        Runs(Application::Meeting, now);
        break;
    case Kind::PlayerRuns:
        Runs(Application::Player, now);
        break;
    case Kind::MeetingSeen:
        m_application = m_application == Application::Meeting ? Application::Seen : m_application;
        break;
    case Kind::Joined:
        m_launch = {static_cast<int>(news.number), true};
        m_launchNews = true;
        break;
    case Kind::PackageAsked:
    case Kind::ShowsMessage:
    case Kind::SecondMeeting:
    case Kind::Starts:
        break;
    }
    m_quietSince = now;
}

void RunWatch::Shown(int message, Clock::time_point now) {
    m_message = message;
    m_stoppedByMessage = m_stoppedByMessage || !m_mainReady || !IsAboutPackage(message);
    if (message == kDidNotStart) { // told after a start that was tried, too
        m_application = Application::None;
        m_launchNews = false;
    }
    m_quietSince = now;
}

void RunWatch::Reported(int pid, Clock::time_point now) {
    if (m_application == Application::None) {
        Runs(Application::Player, now);
    }
    m_launch.pid = pid;
}

void RunWatch::CallEnded(Clock::time_point began, Clock::time_point now) {
    if (now - began >= kLongCall) {
        m_quietSince = now;
    }
}

bool RunWatch::HasSettled(Clock::time_point now) const {
    switch (m_application) {
    case Application::None:
        return false;
    case Application::Seen:
        return true;
    case Application::Player:
        return now - m_since >= (m_pageWaits ? kJoining : kSettled);
    case Application::Meeting:
        return now - m_since >= (m_pageWaits ? kJoining : kUnseen);
    }
    return false;
}

RunWatch::Verdict RunWatch::Done() const {
    return m_refusal != 0 ? Verdict{Ending::Message, m_refusal} : Verdict{Ending::Done, m_message};
}

std::optional<RunWatch::Verdict> RunWatch::Judge(bool busy, Clock::time_point now) {
    if (m_stopped) {
        return Verdict{Ending::Stopped, m_message};
    }
    if (m_sentOn) {
        return Done();
    }
    if (m_stoppedByMessage && m_application == Application::None) {
        return Verdict{Ending::Message, m_message};
    }
    if (HasSettled(now)) {
        return Done();
    }
    if (m_nothingToDo) {
        return Verdict{Ending::NothingMore, m_message};
    }
    if (busy || m_application != Application::None) {
        m_quietSince = now;
        return std::nullopt;
    }
    const auto quiet = now - m_quietSince;
    if (m_message != 0 && quiet >= kAfterMessage) {
        return Verdict{Ending::Message, m_message};
    }
    if (quiet >= (m_allInstalled ? kAllInstalled : kIdle)) {
        return Verdict{Ending::NothingMore, m_message};
    }
    return std::nullopt;
}

std::optional<Launch> RunWatch::TakeLaunch() {
    if (!m_launchNews) {
        return std::nullopt;
    }
    m_launchNews = false;
    return m_launch;
}

} // namespace lumhost
