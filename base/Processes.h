// Processes, as /proc shows them. Any thread.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace base {

struct ProcessStatus {
    std::string command;     // the kernel's own name for it, at most 15 bytes
    char state;              // 'Z': it has ended and is not yet collected
    pid_t parent;            // 0 when there is none in this process's view
    std::uint64_t startTime; // in clock ticks since the system was started; with the pid, unlike any other process's
};

// Nothing when there is no such process.
std::optional<ProcessStatus> StatusOfProcess(pid_t process);

// The content of a process's file "stat" in /proc; nothing when it does not have that form.
std::optional<ProcessStatus> ParseProcessStatus(std::string_view text);

// The file of the running program; empty when the system does not tell.
std::filesystem::path OwnProgram();

} // namespace base
