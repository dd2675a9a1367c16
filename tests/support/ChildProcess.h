// A program that runs as long as the object lives.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

class ChildProcess {
public:
    // Runs the file `path` with these arguments; fails the running test when it cannot be run.
    explicit ChildProcess(const std::string &path, std::vector<std::string> arguments = {});
    // Kills and collects it.
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    pid_t pid() const {
        return m_pid;
    }
    // Kills it and waits until it has ended, but leaves it uncollected, as a zombie.
    void KillOnly();
    // Kills it and collects it.
    void End();

private:
    pid_t m_pid = -1;
};

// Waits until the condition holds, but not longer than half a minute; returns whether it holds.
bool WaitUntil(const std::function<bool()> &condition);
