// What a process gives up before it reads a package that nobody vouches for.
#pragma once

#include <linux/filter.h>

#include <cstdint>
#include <vector>

#include "delivery/package/UnpackLimits.h"
#include "delivery/worker/Protections.h"

namespace delivery {

// The filter of system calls, made once and then only loaded: by a process that forks for each package.
class SystemCallFilter {
public:
    SystemCallFilter();

    // For this thread, which must be the process's only one, and for good. A call that it does not list then fails with
    // ENOSYS. False when this kernel, or what surrounds the process, has no filters.
    bool Load() const;

private:
    std::vector<sock_filter> m_instructions; // none when it could not be made
};

// What this process takes of addresses now, in bytes; 0 when that cannot be told.
std::uint64_t AddressSpace();

// From here on this process can make files, folders and links below the open folder `staging`, open nothing elsewhere,
// talk to nobody, start nothing, and has the memory beside its present `addressSpace`, file size and descriptors that
// unpacking within `limits` takes.
// Descriptors that are open stay so. For good; the process must have one thread. What this kernel does not offer is
// missing in the answer, and everything else holds all the same.
Protections Confine(int staging, const UnpackLimits &limits, std::uint64_t addressSpace,
                    const SystemCallFilter &filter);

} // namespace delivery
