#include "host/run/Signals.h"

#include <signal.h>
#include <unistd.h>

#include <initializer_list>

namespace lumhost {

namespace {

volatile sig_atomic_t g_signal = 0;

void Take(int number) {
    if (g_signal != 0) {
        _exit(128 + number);
    }
    g_signal = number;
}

} // namespace

void WatchSignals() {
    struct sigaction action {};
    action.sa_handler = Take;
    sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(number, &action, nullptr);
    }
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN); // writing more than the user may fails, and is told
}

int PendingSignal() {
    return g_signal;
}

} // namespace lumhost
