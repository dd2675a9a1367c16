// The main of every test program. The program runs itself once more in a home and a temporary folder of its own,
// because Foundation looks at the environment only once, when it is loaded; afterwards what the tests have left running
// (the notification server, launched applications) is ended.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#import "base/objc/ScopedPool.h"
#include "tests/support/TempDir.h"

#import <Foundation/Foundation.h>

namespace {

constexpr char kInsideVariable[] = "LUM_TEST_INSIDE";

void MoveInto(const TempDir &place) {
    const std::string home = place / "home";
    const std::string tmp = place / "tmp";
    for (const std::string &folder : {home, tmp}) {
        std::filesystem::create_directory(folder);
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    }
    setenv("HOME", home.c_str(), 1);
    setenv("TMPDIR", tmp.c_str(), 1);
    setenv("LANG", "C.UTF-8", 1);
    setenv("TMP", tmp.c_str(), 1); // the notification server's socket follows this one
    for (const char *name :
         {"http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "XDG_CONFIG_HOME",
          "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME", "LANGUAGE", "LC_ALL", "LC_MESSAGES"}) {
        unsetenv(name);
    }
}

// The exit status; that of a shell when a signal has ended the program.
int WaitFor(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::vector<pid_t> Children() {
    const std::string self = std::to_string(getpid());
    std::ifstream list("/proc/" + self + "/task/" + self + "/children");
    std::vector<pid_t> children;
    for (pid_t pid; list >> pid;) {
        children.push_back(pid);
    }
    return children;
}

// Orphans become children of this process, so ending the children until there are none ends them all.
void EndChildren() {
    for (auto children = Children(); !children.empty(); children = Children()) {
        for (const pid_t child : children) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }
}

int RunInOwnPlace(char **argv) {
    const TempDir place;
    MoveInto(place);
    setenv(kInsideVariable, std::to_string(getpid()).c_str(), 1);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    pid_t pid = -1;
    if (posix_spawn(&pid, "/proc/self/exe", nullptr, nullptr, argv, environ) != 0) {
        return EXIT_FAILURE;
    }
    const int result = WaitFor(pid);
    EndChildren();
    return result;
}

bool IsInside() {
    const char *parent = getenv(kInsideVariable);
    return parent && std::to_string(getppid()) == parent;
}

} // namespace

int main(int argc, char **argv) {
    const std::vector<char *> arguments(argv, argv + argc + 1);
    ::testing::InitGoogleTest(&argc, argv);
    if (!::testing::GTEST_FLAG(list_tests) && !IsInside()) {
        return RunInOwnPlace(const_cast<char **>(arguments.data()));
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    unsetenv(kInsideVariable);
    const base::ScopedPool pool;
    const int result = RUN_ALL_TESTS();
    return result;
}
