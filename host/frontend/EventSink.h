// What a front end (terminal, JSON lines, browser) is told about a start.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lumhost {

enum class State {
    Starting,     // the extension is being started
    Instructions, // the instruction file is on its way
    Downloading,  // packages are
    Installing,   // a package is being unpacked
    Launching,    // the application is being started
    Waiting,      // it runs; the page waits for it to have joined
};

struct Progress {
    std::uint64_t received = 0;         // bytes of packages
    std::optional<std::uint64_t> total; // as the site announced it
    std::optional<int> percent;         // 0 to 100, when there is a total
    std::optional<std::uint64_t> rate;  // bytes a second
    std::optional<unsigned> secondsLeft;
};

struct Message {
    int number = 0; // 0 when the extension did not tell
    std::string text;
};

struct Navigation {
    std::string target;             // frame
    std::optional<std::string> url; // absolute where the page's own address allows it; nothing: the page names none
};

// One GET request to the site's log.
struct LogRequest {
    int code = 0; // its ErrorCode; 0 when there is none
    std::string url;
};

struct Launch {
    int pid = 0;         // 0 when not known
    bool joined = false; // the application reported itself, and the extension believed it
};

// How a run ended; the value is the exit status.
enum class Ending {
    Done = 0,
    Message = 1,
    WrongUse = 2,
    NoPage = 3,
    NotAllowed = 4,
    NoExtension = 5,
    NothingMore = 6,
    Stopped = 7,
    OutOfTime = 8,
    NoWindowServer = 9,
    Left = 10,    // the page, in a browser
    Signal = 128, // plus its number
};

// All functions are called on the main thread, one at a time, and should return soon. Texts from the page or the
// extension are as they came (UTF-8, with anything in them): a front end makes them fit for its medium.
class EventSink {
public:
    virtual ~EventSink() = default;
    // `detail`: the component's name when installing, otherwise empty.
    virtual void OnState(State state, const std::string &detail) = 0;
    virtual void OnProgress(const Progress &progress) = 0;
    virtual void OnMessage(const Message &message) = 0;
    virtual void OnNavigation(const Navigation &navigation) = 0;
    virtual void OnLaunch(const Launch &launch) = 0;
    virtual void OnLogRequest(const LogRequest &request) = 0;
    // What went wrong, in a sentence, when the extension's own message says less (a download, a package).
    virtual void OnProblem(const std::string &text) = 0;
    // What the user should know, in a sentence, although nothing is wrong.
    virtual void OnNotice(const std::string &text) = 0;
    // Only in a run that lasts until its page is left: everything that was due is done. Not the last call.
    virtual void OnSettled(const std::string &reason) = 0;
    // The last call. `status` is the exit status, `message` the number of the message that ended the run, or 0.
    virtual void OnEnd(int status, const std::string &reason, int message) = 0;
};

const char *NameOf(State state);

} // namespace lumhost
