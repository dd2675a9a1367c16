#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

ChildProcess::ChildProcess(const std::string &path, std::vector<std::string> arguments) {
    std::string name = path;
    std::vector<char *> list{name.data()};
    for (std::string &argument : arguments) {
        list.push_back(argument.data());
    }
    list.push_back(nullptr);
    if (const int error = posix_spawn(&m_pid, path.c_str(), nullptr, nullptr, list.data(), environ)) {
        m_pid = -1;
        ADD_FAILURE() << "cannot run " << path << ": " << std::strerror(error);
    }
}

ChildProcess::~ChildProcess() {
    End();
}

void ChildProcess::KillOnly() {
    kill(m_pid, SIGKILL);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOWAIT);
}

void ChildProcess::End() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}

bool WaitUntil(const std::function<bool()> &condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}
