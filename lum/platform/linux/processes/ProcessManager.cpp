#include <ApplicationServices/ApplicationServices.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "lum/platform/linux/processes/EndedTasks.h"
#include "lum/platform/linux/processes/SerialNumber.h"

namespace {

// The list that the walk in progress goes through; empty between walks.
std::vector<RunningProcess> g_walk;

// The start time tells a process from an earlier one with the same id. It is never 0, for { 0, n } has other meanings.
ProcessSerialNumber SerialNumber(const RunningProcess &process) {
    const auto start = static_cast<UInt32>(process.startTime);
    return {start ? start : 1, static_cast<UInt32>(process.pid)};
}

bool operator==(const ProcessSerialNumber &a, const ProcessSerialNumber &b) {
    return a.highLongOfPSN == b.highLongOfPSN && a.lowLongOfPSN == b.lowLongOfPSN;
}

bool IsConstant(const ProcessSerialNumber &psn, UInt32 value) {
    return psn == ProcessSerialNumber{0, value};
}

// A process of the walk is known as it was when the walk began.
std::optional<RunningProcess> FindInWalk(const ProcessSerialNumber &psn) {
    const auto listed =
        std::ranges::find_if(g_walk, [&](const RunningProcess &process) { return SerialNumber(process) == psn; });
    return listed == g_walk.end() ? FindRunningProcess(psn) : *listed;
}

void CopyName(const std::string &name, StringPtr place) {
    const std::size_t length = std::min<std::size_t>(name.size(), sizeof(Str255) - 1);
    place[0] = static_cast<unsigned char>(length);
    std::copy_n(name.begin(), length, place + 1);
}

} // namespace

std::optional<RunningProcess> FindRunningProcess(const ProcessSerialNumber &psn) {
    if (IsConstant(psn, kCurrentProcess)) {
        return FindRunningProcess(getpid());
    }
    const auto process = FindRunningProcess(static_cast<pid_t>(psn.lowLongOfPSN));
    return process && SerialNumber(*process) == psn ? process : std::nullopt;
}

OSErr GetNextProcess(ProcessSerialNumber *psn) {
    if (!psn) {
        return paramErr;
    }
    if (IsConstant(*psn, kNoProcess)) {
        CollectEndedTasks();
        g_walk = RunningProcesses();
    }
    const auto next = std::ranges::upper_bound(g_walk, static_cast<pid_t>(psn->lowLongOfPSN), {}, &RunningProcess::pid);
    if (next == g_walk.end()) {
        g_walk.clear();
        *psn = {0, kNoProcess};
        return procNotFound;
    }
    *psn = SerialNumber(*next);
    return noErr;
}

OSErr GetProcessInformation(const ProcessSerialNumber *psn, ProcessInfoRec *info) {
    if (!psn || !info || info->processInfoLength < sizeof(ProcessInfoRec)) {
        return paramErr;
    }
    const auto process = FindInWalk(*psn);
    if (!process) {
        return procNotFound;
    }
    if (info->processName) {
        CopyName(process->name, info->processName);
    }
    info->processNumber = SerialNumber(*process);
    info->processType = 0;
    info->processSignature = 0;
    info->processMode = 0;
    info->processLocation = nullptr;
    info->processSize = 0;
    info->processFreeMem = 0;
    info->processLauncher = {0, kNoProcess};
    info->processLaunchDate = 0;
    info->processActiveTime = 0;
    return noErr;
}

OSStatus GetProcessPID(const ProcessSerialNumber *psn, pid_t *pid) {
    if (!psn || !pid) {
        return paramErr;
    }
    const auto process = FindRunningProcess(*psn);
    if (!process) {
        return procNotFound;
    }
    *pid = process->pid;
    return noErr;
}

OSStatus GetProcessForPID(pid_t pid, ProcessSerialNumber *psn) {
    if (!psn) {
        return paramErr;
    }
    const auto process = FindRunningProcess(pid);
    if (!process) {
        return procNotFound;
    }
    *psn = SerialNumber(*process);
    return noErr;
}
