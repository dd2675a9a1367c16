#include "host/release/Refusal.h"

#include <sys/timex.h>

#include "delivery/release/ReleaseFault.h"

namespace lumhost {

namespace {

using delivery::ReleaseFault;
using namespace std::chrono_literals;

constexpr char kTellOperator[] = ". Tell the operator of the site.";
constexpr auto kMuch = 1h;

bool IsAhead(const ClockSigns &clock) {
    if (!clock.serverTime || clock.isSetByNetwork) {
        return false;
    }
    // A server that tells a time before that of the last good release replays an older one.
    const auto there = std::chrono::system_clock::from_time_t(*clock.serverTime) + kMuch;
    return there < clock.now && (!clock.accepted || std::chrono::system_clock::from_time_t(*clock.accepted) <= there);
}

// "timestamp.json expired on ...": without the advice that follows.
std::string Cause(const std::string &text) {
    return text.substr(0, text.find(';'));
}

} // namespace

ClockSigns LookAtClock(delivery::ReleaseTime now, std::optional<std::time_t> serverTime) {
    timex state{};
    return {now, serverTime, adjtimex(&state) != TIME_ERROR};
}

std::string RefusalText(const std::string &site, const base::Error &error, const ClockSigns &clock,
                        bool isAdministrators) {
    const std::string refused = "the release of " + site + " is refused: " + error.text;
    switch (delivery::FaultOf(error)) {
    case ReleaseFault::Expired:
        if (IsAhead(clock)) {
            const auto there =
                std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::from_time_t(*clock.serverTime));
            return "the release of " + site +
                   " cannot be checked, because the clock of this computer is wrong: it shows " +
                   delivery::ShowTime(clock.now) + ", the server of the site " + delivery::ShowTime(there) +
                   ", and no time server sets it (" + Cause(error.text) +
                   "). Set the clock, by another source than this site, and try again.";
        }
        return refused + kTellOperator;
    case ReleaseFault::NotFound:
        return refused + "; this site has signed releases, so its unsigned files are not accepted" + kTellOperator;
    case ReleaseFault::Unreachable:
        return "the release of " + site + " cannot be checked: " + error.text;
    case ReleaseFault::Storage:
        return "the release of " + site + " cannot be saved: " + error.text +
               ". Free some space or set the folder's permissions, and try again.";
    case ReleaseFault::NotSigned:
        // With new keys a site has either another root after the trusted one, or starts over with its root 1, which
        // a visitor who is past it does not ask for.
        if (error.text.starts_with("root.json") || error.text.starts_with("timestamp.json")) {
            return refused + kTellOperator +
                   " If the operator confirms, by another way than the site, that its keys were lost, " +
                   (isAdministrators ? "the administrator of this computer has to replace the root."
                                     : "type: lumhost allow " + site + " --new-root FILE");
        }
        return refused + kTellOperator;
    default:
        return refused + kTellOperator;
    }
}

} // namespace lumhost
