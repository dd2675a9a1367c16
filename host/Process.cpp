#include "host/Process.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <initializer_list>

#include "base/Files.h"
#include "base/Text.h"

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

void Complain(const std::string &text) {
    std::fprintf(stderr, "lumhost: %s\n", base::OneLine(text).c_str());
}

void WatchSignals() {
    struct sigaction action {};
    action.sa_handler = Take;
    sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(number, &action, nullptr);
    }
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

int PendingSignal() {
    return g_signal;
}

void RaiseDescriptorLimit() {
    constexpr rlim_t kEnough = 16'384;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < kEnough) {
        limit.rlim_cur = std::min(kEnough, limit.rlim_max);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

void EnterEmptyFolder(const std::filesystem::path &folder) {
    namespace fs = std::filesystem;
    std::error_code error;
    bool made = base::MakeFolder(folder) && !fs::is_symlink(folder, error);
    fs::directory_iterator entry(folder, error);
    for (; made && !error && entry != fs::directory_iterator();
         entry.increment(error)) { // only root can have put it there
        made = fs::remove_all(entry->path(), error) > 0;
    }
    made = made && chmod(folder.c_str(), 0500) == 0 && chdir(folder.c_str()) == 0;
    if (!made) {
        fs::current_path("/", error);
    }
}

} // namespace lumhost
