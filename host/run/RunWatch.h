// Decides when a start is over, and how it went.
//
// The extension never says so: in a browser an instance lives until its page is left. Here the page is left when
//   - it is sent on: that is what the page wanted;
//   - the extension has checked on the running application and had nothing to send the page to (a meeting), or the
//     application has run for kSettled (a player, and an application that reported itself to an extension that does not
//     trace); a meeting that it never checks on (it waits for the placeholder window, or for the application to have
//     joined) is given kUnseen, or kJoining when the page waits;
//   - a message was shown after which the extension has stopped. One about a package does not stop it once the main
//     component is ready: then the other packages are waited for, and kAfterMessage;
//   - the extension asked to be stopped (the user's Stop button);
//   - nothing can come of the instruction file;
//   - nothing has happened for kIdle, or kAllInstalled when all packages were installed. The time of a long call of the
//     extension (an installation, a panel) does not count.
#pragma once

#include <chrono>
#include <optional>

#include "host/frontend/EventSink.h"
#include "host/trace/TraceNews.h"

namespace lumhost {

class RunWatch {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds kSettled{5};
    static constexpr std::chrono::seconds kUnseen{60};
    static constexpr std::chrono::seconds kJoining{305};
    static constexpr std::chrono::seconds kAfterMessage{2};
    static constexpr std::chrono::seconds kAllInstalled{3};
    static constexpr std::chrono::seconds kIdle{10};
    static constexpr std::chrono::seconds kLongCall{1};

    struct Verdict {
        Ending ending;
        int message; // number of the message that ended it, or of the last one that was shown; 0 for none
    };

    // `pageWaits`: the page waits for the application to have joined.
    RunWatch(bool pageWaits, Clock::time_point now) : m_pageWaits(pageWaits), m_quietSince(now) {}

    void Heard(const TraceNews &news, Clock::time_point now);
    void Shown(int message, Clock::time_point now);
    void SentOn() {
        m_sentOn = true;
    }
    bool IsSentOn() const {
        return m_sentOn;
    }
    bool IsAllInstalled() const {
        return m_allInstalled;
    }
    void AskedToStop() {
        m_stopped = true;
    }
    // The extension has read an instruction file in which there is nothing for it.
    void NothingToDo() {
        m_nothingToDo = true;
    }
    // A second meeting was refused. The page is sent on to the running one all the same; then it is over.
    void SecondMeeting(int message) {
        m_refusal = message;
    }
    // The application that this process started reported itself to the session.
    void Reported(int pid, Clock::time_point now);

    // A call of the extension has returned; the quiet time starts again when it took long.
    void CallEnded(Clock::time_point began, Clock::time_point now);

    // To be asked between two calls of the extension, never within one. `busy`: a transfer runs.
    std::optional<Verdict> Judge(bool busy, Clock::time_point now);

    // What is new of the application since the last call, likewise between two calls.
    std::optional<Launch> TakeLaunch();

private:
    enum class Application { None, Meeting, Player, Seen };

    void Runs(Application application, Clock::time_point now);
    Verdict Done() const;
    bool HasSettled(Clock::time_point now) const;

    const bool m_pageWaits;
    bool m_mainReady = false;
    bool m_allInstalled = false;
    bool m_sentOn = false;
    bool m_stopped = false;
    bool m_nothingToDo = false;
    int m_refusal = 0; // the message that said so
    bool m_stoppedByMessage = false;
    int m_message = 0;
    Application m_application = Application::None;
    Clock::time_point m_since; // when the application came to run
    Clock::time_point m_quietSince;
    Launch m_launch;
    bool m_launchNews = false;
};

} // namespace lumhost
