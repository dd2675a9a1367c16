#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

using base::ScopedDescriptor;

namespace {

constexpr int kNewFile = O_WRONLY | O_CREAT | O_TRUNC;

// What becomes of the three standard streams of a new process.
class StreamPlan {
public:
    StreamPlan() {
        posix_spawn_file_actions_init(&m_actions);
    }
    ~StreamPlan() {
        posix_spawn_file_actions_destroy(&m_actions);
    }
    StreamPlan(const StreamPlan &) = delete;
    StreamPlan &operator=(const StreamPlan &) = delete;

    void File(int stream, const std::string &path, int flags) {
        posix_spawn_file_actions_addopen(&m_actions, stream, path.c_str(), flags, 0600);
    }
    // This process's end of a new pipe.
    ScopedDescriptor Pipe(int stream) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const int childs = stream == 0 ? 0 : 1;
        m_childsEnds.emplace_back(ends[childs]);
        posix_spawn_file_actions_adddup2(&m_actions, ends[childs], stream);
        return ScopedDescriptor(ends[1 - childs]);
    }
    const posix_spawn_file_actions_t *get() const {
        return &m_actions;
    }

private:
    posix_spawn_file_actions_t m_actions{};
    std::vector<ScopedDescriptor> m_childsEnds;
};

int StatusOf(int waited) {
    return WIFEXITED(waited) ? WEXITSTATUS(waited) : -WTERMSIG(waited);
}

} // namespace

ChildProcess::ChildProcess(const std::string &program, std::vector<std::string> arguments, Streams streams) {
    arguments.insert(arguments.begin(), program);
    std::vector<char *> words;
    for (std::string &argument : arguments) {
        words.push_back(argument.data());
    }
    words.push_back(nullptr);
    StreamPlan plan;
    if (streams == Streams::Kept) {
        plan.File(0, "/dev/null", O_RDONLY);
        plan.File(1, m_place / "out", kNewFile);
    }
    if (streams == Streams::Piped) {
        m_in = plan.Pipe(0);
        m_out = plan.Pipe(1);
    }
    if (streams != Streams::Shared) {
        plan.File(2, m_place / "err", kNewFile);
    }
    if (const int error = posix_spawnp(&m_pid, program.c_str(), plan.get(), nullptr, words.data(), environ)) {
        m_pid = -1;
        ADD_FAILURE() << "cannot run " << program << ": " << std::strerror(error);
    }
}

ChildProcess::~ChildProcess() {
    End();
}

void ChildProcess::Signal(int number) const {
    if (m_pid > 0) {
        kill(m_pid, number);
    }
}

void ChildProcess::KillOnly() {
    Signal(SIGKILL);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOWAIT);
}

void ChildProcess::End() {
    Signal(SIGKILL);
    Wait();
}

int ChildProcess::Wait() {
    if (m_pid <= 0) {
        return m_status;
    }
    int status = 0;
    // GNUstep collects children of its own accord: then the status is not known, and counts as 0.
    const auto hasEnded = [&] { return waitpid(m_pid, &status, WNOHANG) != 0; };
    bool ended = false;
    for (int halfMinute = 0; halfMinute < 8 && !ended; ++halfMinute) {
        ended = WaitUntil(hasEnded);
    }
    if (!ended) {
        ADD_FAILURE() << "a program does not end";
        Signal(SIGKILL);
        waitpid(m_pid, &status, 0);
    }
    m_pid = -1;
    return m_status = StatusOf(status);
}

std::string ChildProcess::Out() {
    Wait();
    return OutSoFar();
}

std::string ChildProcess::Err() {
    Wait();
    return ReadFile(m_place / "err");
}

std::string ChildProcess::OutSoFar() const {
    return ReadFile(m_place / "out");
}

std::string OutputOf(const std::string &command, int status) {
    ChildProcess shell("/bin/sh", {"-c", "{ " + command + "\n} 2>&1"}, ChildProcess::Streams::Kept);
    EXPECT_EQ(shell.Wait(), status) << command << "\n" << shell.OutSoFar();
    return shell.OutSoFar();
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
