// The processes of the system, as /proc shows them.
//
// A process that ends while it is looked at is left out. Nothing is cached; no other process is started.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct RunningProcess {
    pid_t pid;
    std::uint64_t startTime; // in clock ticks since the system was started; with the pid, unlike any other process's
    std::string name;        // file name of the executable, or of the script that it runs
};

// The processes of this (effective) user that have not ended, by ascending pid. Kernel threads are not among them.
std::vector<RunningProcess> RunningProcesses();
std::optional<RunningProcess> FindRunningProcess(pid_t pid);

struct KernelProcess {
    pid_t pid;
    std::string command; // the kernel's own name for it, at most 15 bytes
};

// Every process of the system, whosever it is, those included that have ended and are not yet collected.
std::vector<KernelProcess> KernelProcesses();
