#include <errno.h>
#include <sys/sysctl.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

#include "lum/platform/linux/processes/ProcessTable.h"

namespace {

// Room for processes that start between the question for the size and the reading.
constexpr std::size_t kRoom = 16;

int Fail(int error) {
    errno = error;
    return -1;
}

bool IsProcessTable(std::span<const int> name) {
    constexpr int wanted[] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL, 0};
    return (name.size() == 3 || name.size() == 4) && std::equal(name.begin(), name.end(), wanted);
}

kinfo_proc Record(const KernelProcess &process) {
    kinfo_proc record{};
    record.kp_proc.p_pid = process.pid;
    process.command.copy(record.kp_proc.p_comm, MAXCOMLEN);
    return record;
}

int ReadProcessTable(void *table, std::size_t &size) {
    const auto processes = KernelProcesses();
    if (processes.empty()) {
        return Fail(EIO);
    }
    if (!table) {
        size = (processes.size() + kRoom) * sizeof(kinfo_proc);
        return 0;
    }
    if (size < processes.size() * sizeof(kinfo_proc)) {
        return Fail(ENOMEM);
    }
    auto *place = static_cast<unsigned char *>(table);
    for (const KernelProcess &process : processes) {
        const kinfo_proc record = Record(process);
        std::memcpy(place, &record, sizeof record);
        place += sizeof record;
    }
    size = processes.size() * sizeof(kinfo_proc);
    return 0;
}

} // namespace

int sysctl(int *name, unsigned int namelen, void *oldp, size_t *oldlenp, void *newp, size_t) {
    if (newp) {
        return Fail(EPERM);
    }
    if (!oldlenp) {
        return Fail(EINVAL);
    }
    if (!name || !IsProcessTable({name, namelen})) {
        return Fail(ENOENT);
    }
    try {
        return ReadProcessTable(oldp, *oldlenp);
    } catch (const std::bad_alloc &) {
        return Fail(ENOMEM);
    }
}
