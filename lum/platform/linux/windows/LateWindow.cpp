// lumfront PID START-TIME: brings the process's first window to the front as soon as there is one. Ends when that is
// done, when the process has ended, or after half a minute: by then its user has turned to something else.
#include <chrono>
#include <cstdlib>
#include <thread>

#include "base/Text.h"
#include "lum/platform/linux/processes/ProcessTable.h"
#include "lum/platform/linux/windows/FrontWindow.h"

namespace {

constexpr std::chrono::seconds kLongestWait(30);
constexpr std::chrono::milliseconds kInterval(200);

bool IsRunning(pid_t pid, std::uint64_t startTime) {
    const auto process = FindRunningProcess(pid);
    return process && process->startTime == startTime;
}

} // namespace

int main(int argc, char **argv) {
    const auto pid = argc == 3 ? base::ReadNumber<pid_t>(argv[1]) : std::nullopt;
    const auto startTime = argc == 3 ? base::ReadNumber<std::uint64_t>(argv[2]) : std::nullopt;
    if (!pid || !startTime) {
        return EXIT_FAILURE;
    }
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (IsRunning(*pid, *startTime) && std::chrono::steady_clock::now() < end) {
        switch (ActivateWindowOfProcess(*pid)) {
        case Activation::Requested:
            return EXIT_SUCCESS;
        case Activation::NoWindowServer:
            return EXIT_FAILURE;
        case Activation::NoWindow:
            std::this_thread::sleep_for(kInterval);
        }
    }
    return EXIT_FAILURE;
}
