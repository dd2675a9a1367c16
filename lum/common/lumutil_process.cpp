#include <Carbon/Carbon.h>
#include <errno.h>
#include <string.h>
#include <sys/sysctl.h>

#include <algorithm>
#include <memory>
#include <new>
#include <span>
#include <string_view>

#include "base/Ascii.h"
#include "lum/common/lumutil.h"

namespace {

// Results of GetAllPIDsForProcessName.
enum {
    kFound = 0,
    kNotFound = -1,
    kBadArgument = -2,
    kTableUnavailable = -3,
    kNoMemory = -4,
    kTooMany = -5,
};

struct ProcessTable {
    std::unique_ptr<char[]> bytes;
    std::size_t count = 0;

    std::span<const kinfo_proc> records() const {
        return {reinterpret_cast<const kinfo_proc *>(bytes.get()), count};
    }
};

// Reads the kernel's process table; kFound, kTableUnavailable or kNoMemory, with the system's error number.
int ReadProcessTable(ProcessTable &table, int &systemError) {
    int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL, 0};
    for (;;) {
        std::size_t size = 0;
        if (sysctl(name, std::size(name), nullptr, &size, nullptr, 0) != 0) {
            systemError = errno;
            return kTableUnavailable;
        }
        table.bytes.reset(new (std::nothrow) char[size]);
        if (!table.bytes) {
            systemError = ENOMEM;
            return kNoMemory;
        }
        if (sysctl(name, std::size(name), table.bytes.get(), &size, nullptr, 0) == 0) {
            table.count = size / sizeof(kinfo_proc);
            return kFound;
        }
        // The table has grown between the two calls.
    }
}

bool HasCommandName(const kinfo_proc &process, const char *name) {
    return process.kp_proc.p_pid > 0 && strncmp(process.kp_proc.p_comm, name, MAXCOMLEN) == 0;
}

} // namespace

unsigned int GetPIDForProcessName(const char *name) {
    if (!name) {
        return kNoProcessId;
    }
    ProcessSerialNumber application = {0, kNoProcess};
    while (GetNextProcess(&application) == noErr) {
        Str255 applicationName = {};
        ProcessInfoRec info = {};
        info.processInfoLength = sizeof info;
        info.processName = applicationName;
        if (GetProcessInformation(&application, &info) != noErr) {
            return kNoProcessId;
        }
        const std::string_view text(reinterpret_cast<const char *>(applicationName + 1), applicationName[0]);
        pid_t pid = 0;
        if (base::EqualsIgnoringCase(text, name) && GetProcessPID(&application, &pid) == noErr) {
            return static_cast<unsigned int>(pid);
        }
    }
    return kNoProcessId;
}

int GetAllPIDsForProcessName(const char *name, unsigned int *pids, unsigned int capacity, unsigned int *count,
                             int *error) {
    if (!name || !pids || capacity == 0 || !count) {
        return kBadArgument;
    }
    std::fill_n(pids, capacity, 0U);
    *count = 0;
    int systemError = 0;
    ProcessTable table;
    const int status = ReadProcessTable(table, systemError);
    if (error) {
        *error = systemError;
    }
    if (status != kFound) {
        return status;
    }
    for (const kinfo_proc &process : table.records()) {
        if (!HasCommandName(process, name)) {
            continue;
        }
        if (*count + 1 > capacity) {
            return kTooMany;
        }
        pids[(*count)++] = static_cast<unsigned int>(process.kp_proc.p_pid);
    }
    return *count > 0 ? kFound : kNotFound;
}
