// Programs that tests run.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "base/ScopedDescriptor.h"
#include "tests/support/TempDir.h"

// A program that runs as long as the object lives.
class ChildProcess {
public:
    enum class Streams {
        Shared, // those of this process
        Kept,   // nothing to read; what it prints is kept for Out and Err
        Piped,  // pipes at its standard input and output; its errors are kept for Err
    };

    // Runs `program`, a path or a name on PATH, with these arguments; fails the running test when it cannot be run.
    explicit ChildProcess(const std::string &program, std::vector<std::string> arguments = {},
                          Streams streams = Streams::Shared);
    // Kills and collects it.
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    pid_t pid() const {
        return m_pid;
    }
    void Signal(int number) const;
    // Kills it and waits until it has ended, but leaves it uncollected, as a zombie.
    void KillOnly();
    // Kills it and collects it.
    void End();
    // Waits for its end, at most four minutes. The exit status, or the negative number of the signal that ended it.
    int Wait();

    // What it printed; both wait for its end.
    std::string Out();
    std::string Err();
    // What it has printed by now.
    std::string OutSoFar() const;

    // The ends of its pipes.
    int in() const {
        return m_in.get();
    }
    int out() const {
        return m_out.get();
    }
    void CloseIn() {
        m_in.Close();
    }

private:
    const TempDir m_place;
    pid_t m_pid = -1; // until it has been collected
    int m_status = -1;
    base::ScopedDescriptor m_in;
    base::ScopedDescriptor m_out;
};

// Runs a shell command and returns what it prints, errors included; fails the running test, with that text, when its
// exit status is another one.
std::string OutputOf(const std::string &command, int status = 0);

// Waits until the condition holds, but not longer than half a minute; returns whether it holds.
bool WaitUntil(const std::function<bool()> &condition);
