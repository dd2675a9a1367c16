#include "lum/platform/linux/processes/ProcessTable.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <string_view>

#include "base/Files.h"
#include "base/Processes.h"
#include "base/Text.h"

namespace {

constexpr std::size_t kKernelNameLength = 15;
// Enough for an interpreter, an option of it and the path of a script.
constexpr std::size_t kEnough = std::size_t{2} * PATH_MAX;

struct CloseDirectory {
    void operator()(DIR *directory) const {
        closedir(directory);
    }
};

std::string_view BaseName(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

// The folder of one process in /proc.
class ProcessFolder {
public:
    explicit ProcessFolder(pid_t pid) : m_path("/proc/" + std::to_string(pid) + '/') {}

    bool BelongsTo(uid_t user) const {
        struct stat status {};
        return stat(m_path.c_str(), &status) == 0 && status.st_uid == user;
    }

    std::string Read(const char *file, std::size_t limit = kEnough) const {
        const base::ScopedDescriptor descriptor(open((m_path + file).c_str(), O_RDONLY | O_CLOEXEC));
        return descriptor ? base::ReadStart(descriptor.get(), limit) : std::string();
    }

    // Empty for a kernel thread, and for a process that does not let itself be looked at.
    std::string Executable() const {
        std::string path(PATH_MAX, '\0');
        const ssize_t length = readlink((m_path + "exe").c_str(), path.data(), path.size());
        path.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        return WithoutDeletedMark(path);
    }

private:
    // An update that replaces the file of a running application makes the kernel mark its path.
    static std::string WithoutDeletedMark(const std::string &path) {
        constexpr std::string_view mark = " (deleted)";
        if (!path.ends_with(mark) || access(path.c_str(), F_OK) == 0) {
            return path;
        }
        return path.substr(0, path.size() - mark.size());
    }

    std::string m_path;
};

// An argument list with a NUL after each argument.
std::vector<std::string_view> SplitArguments(std::string_view text, std::size_t limit) {
    std::vector<std::string_view> arguments;
    while (!text.empty() && arguments.size() < limit) {
        const auto end = std::min(text.find('\0'), text.size());
        arguments.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return arguments;
}

// True when the file is a script whose first line names this interpreter ("#!/usr/bin/env python3", "python3").
bool IsScriptFor(const std::string &path, std::string_view interpreter) {
    const base::ScopedDescriptor descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!descriptor || fstat(descriptor.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    const std::string start = base::ReadStart(descriptor.get(), 256);
    std::string_view line = std::string_view(start).substr(0, start.find('\n'));
    if (!line.starts_with("#!")) {
        return false;
    }
    line.remove_prefix(2);
    while (!line.empty()) {
        const auto end = std::min(line.find_first_of(" \t"), line.size());
        if (end > 0 && BaseName(line.substr(0, end)) == interpreter) {
            return true;
        }
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    return false;
}

// The kernel names a process after the script that it starts, and puts the script's path after the interpreter and at
// most one option of it. A script that is started through env loses the name, but not the path.
std::string ScriptName(const ProcessFolder &folder, std::string_view executable, std::string_view command) {
    const bool ownName = executable.substr(0, kKernelNameLength) == command;
    const std::string text = folder.Read("cmdline");
    const auto arguments = SplitArguments(text, 3);
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string_view name = BaseName(arguments[i]);
        if (name.empty()) {
            continue;
        }
        if ((!ownName && name.substr(0, kKernelNameLength) == command) ||
            (arguments[i].starts_with('/') && IsScriptFor(std::string(arguments[i]), BaseName(arguments[0])))) {
            return std::string(name);
        }
    }
    return {};
}

std::string NameOf(const ProcessFolder &folder, const std::string &command) {
    const std::string executable = folder.Executable();
    if (executable.empty()) {
        // Kernel threads have no arguments either.
        return folder.Read("cmdline", 1).empty() ? std::string() : command;
    }
    const std::string_view name = BaseName(executable);
    const std::string script = ScriptName(folder, name, command);
    return script.empty() ? std::string(name) : script;
}

std::optional<RunningProcess> Look(pid_t pid, uid_t user) {
    const ProcessFolder folder(pid);
    if (!folder.BelongsTo(user)) {
        return std::nullopt;
    }
    const auto status = base::StatusOfProcess(pid);
    if (!status || status->state == 'Z' || status->state == 'X') {
        return std::nullopt;
    }
    std::string name = NameOf(folder, status->command);
    if (name.empty()) {
        return std::nullopt;
    }
    return RunningProcess{pid, status->startTime, std::move(name)};
}

template <typename Visit> void ForEachPid(Visit visit) {
    const std::unique_ptr<DIR, CloseDirectory> proc(opendir("/proc"));
    while (const dirent *entry = proc ? readdir(proc.get()) : nullptr) {
        if (const auto pid = base::ReadNumber<pid_t>(entry->d_name)) {
            visit(*pid);
        }
    }
}

} // namespace

std::vector<RunningProcess> RunningProcesses() {
    std::vector<RunningProcess> processes;
    const uid_t user = geteuid();
    ForEachPid([&](pid_t pid) {
        if (auto process = Look(pid, user)) {
            processes.push_back(std::move(*process));
        }
    });
    std::ranges::sort(processes, {}, &RunningProcess::pid);
    return processes;
}

std::optional<RunningProcess> FindRunningProcess(pid_t pid) {
    return pid > 0 ? Look(pid, geteuid()) : std::nullopt;
}

std::vector<KernelProcess> KernelProcesses() {
    std::vector<KernelProcess> processes;
    ForEachPid([&](pid_t pid) {
        std::string command = ProcessFolder(pid).Read("comm", 64);
        if (command.ends_with('\n')) {
            command.pop_back();
            processes.push_back({pid, std::move(command)});
        }
    });
    return processes;
}
