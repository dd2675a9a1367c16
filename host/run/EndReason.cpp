#include "host/run/EndReason.h"

#include <signal.h>

#include <algorithm>

#include "delivery/package/Unpacker.h"

namespace lumhost {

namespace {

struct Meaning {
    int message;
    const char *reason;
};

constexpr Meaning kMeanings[] = {
    {1, "the page does not name a component (LumComponentName). Tell the operator of the site."},
    {2, "the page's LumUrlRoot is missing or too long. Tell the operator of the site."},
    {5, "the instruction file could not be used, or the page does not name a component. Tell the operator of the "
        "site."},
    {6, "a package could not be downloaded. Try again later."},
    {7,
     "a package is not the one that the site announces, or could not be checked, so it was not opened. Try again; if "
     "that does not help, type \"lumhost doctor\", and tell the operator of the site."},
    {15, "the site lists a component under a name that cannot be installed. Tell the operator of the site."},
    {17, "the site does not list the component that is to be started. Tell the operator of the site."},
    {18, "the application did not start, or ended again at once. Start it by hand to see what it says, or remove it "
         "(lumhost remove NAME) and try again."},
    {23, "the signature of a package, or the site's certificate, was not accepted, so nothing was opened. Tell the "
         "operator of the site."},
    {24, "a meeting is running already. Leave it and try again."},
};

const char *Doing(State state) {
    switch (state) {
    case State::Starting:
        return "the extension was being started";
    case State::Instructions:
        return "the site was being asked what is needed";
    case State::Downloading:
        return "packages were being downloaded";
    case State::Installing:
        return "a package was being installed";
    case State::Launching:
        return "the application was being started";
    case State::Waiting:
        return "the application had not joined yet";
    }
    return "";
}

std::string Kept(bool keeps) {
    return keeps ? "; the next start goes on with what has been downloaded" : "";
}

} // namespace

std::string ReasonOfMessage(int number) {
    const auto *const known = std::ranges::find(kMeanings, number, &Meaning::message);
    return known != std::end(kMeanings) ? known->reason
                                        : "the extension gave up. Try again; \"lumhost --report FILE\" packs what "
                                          "support needs to know.";
}

std::string RemedyOfUnpacking(int error) {
    switch (error) {
    case delivery::kUnpackNoSpace:
        return "Free some space and try again.";
    case delivery::kUnpackNotWritable:
        return "Set the folder's permissions and try again; \"lumhost doctor\" says more.";
    case delivery::kUnpackNoPackage:
    case delivery::kUnpackInterrupted:
        return "Try again; \"lumhost doctor\" says whether something is wrong with this computer.";
    default:
        return "Tell the operator of the site.";
    }
}

std::string ReasonOfSignal(int signal, bool keeps) {
    const std::string what = signal == SIGINT    ? "stopped by Ctrl-C"
                             : signal == SIGHUP  ? "ended because its terminal was closed"
                             : signal == SIGTERM ? "ended by the signal TERM"
                                                 : "ended by signal " + std::to_string(signal);
    return what + Kept(keeps);
}

std::string ReasonOfTimeout(std::optional<State> state, bool keeps) {
    return std::string("the time given by --timeout is over; ") + (state ? Doing(*state) : "nothing was started yet") +
           Kept(keeps) + ". Give it more time.";
}

} // namespace lumhost
