#include "delivery/worker/Confinement.h"

#include <fcntl.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

#include "delivery/worker/Landlock.h"

namespace delivery {

namespace {

// What the C library, libarchive and the decompressors keep beside a window: theirs is a few MiB.
constexpr std::uint64_t kBesideWindow = 64 << 20;
// The folders on the way to an entry (EntryPath.cpp), the entry, and what is open already.
constexpr rlim_t kDescriptors = 128;
// More than this, and the program runs under a memory checker, which takes the addresses for itself.
constexpr std::uint64_t kUnlikelySize = std::uint64_t{1} << 40;

// Those of the C library for memory, and those of Unpack. openat is held by Landlock; the others name no file by a path
// that leads anywhere, and no other process.
constexpr int kCalls[] = {
    SCMP_SYS(brk),          SCMP_SYS(munmap),     SCMP_SYS(mremap),          SCMP_SYS(madvise),
    SCMP_SYS(futex),        SCMP_SYS(getrandom),  SCMP_SYS(rt_sigprocmask),  SCMP_SYS(rt_sigaction),
    SCMP_SYS(rt_sigreturn), SCMP_SYS(exit_group), SCMP_SYS(restart_syscall), SCMP_SYS(clock_gettime),
    SCMP_SYS(read),         SCMP_SYS(pread64),    SCMP_SYS(write),           SCMP_SYS(pwrite64),
    SCMP_SYS(writev),       SCMP_SYS(lseek),      SCMP_SYS(close),           SCMP_SYS(fstat),
    SCMP_SYS(newfstatat),   SCMP_SYS(fstatfs),    SCMP_SYS(openat),          SCMP_SYS(mkdirat),
    SCMP_SYS(symlinkat),    SCMP_SYS(linkat),     SCMP_SYS(ftruncate),       SCMP_SYS(fallocate)};

void Limit(__rlimit_resource resource, rlim_t most) {
    rlimit limit{};
    if (getrlimit(resource, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max = std::min(limit.rlim_cur, most); // RLIM_INFINITY is the largest
        setrlimit(resource, &limit);
    }
}

std::uint64_t AddressSpace() {
    std::uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

bool LimitMemory(std::uint64_t window) {
    const std::uint64_t now = AddressSpace();
    if (now == 0 || now > kUnlikelySize) {
        return false;
    }
    Limit(RLIMIT_AS, now + window + kBesideWindow);
    return true;
}

} // namespace

struct SystemCallFilter::Context {
    scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ERRNO(ENOSYS));
    bool whole = filter != nullptr;

    void Allow(int call) {
        whole = whole && seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 0) == 0;
    }
    void Allow(int call, scmp_arg_cmp condition) {
        whole = whole && seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, call, 1, &condition) == 0;
    }
};

SystemCallFilter::SystemCallFilter() : m_context(std::make_unique<Context>()) {
    for (const int call : kCalls) {
        m_context->Allow(call);
    }
    // No page can be executed that could not before; limits are asked, not set; no descriptor gets an owner to signal.
    m_context->Allow(SCMP_SYS(mmap), SCMP_A2_64(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0));
    m_context->Allow(SCMP_SYS(mprotect), SCMP_A2_64(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0));
    m_context->Allow(SCMP_SYS(prlimit64), SCMP_A2_64(SCMP_CMP_EQ, 0));
    for (const unsigned command : {F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL, F_SETFL}) {
        m_context->Allow(SCMP_SYS(fcntl), SCMP_A1_64(SCMP_CMP_EQ, command));
    }
}

SystemCallFilter::~SystemCallFilter() {
    if (m_context->filter) {
        seccomp_release(m_context->filter);
    }
}

bool SystemCallFilter::Load() const {
    return m_context->whole && seccomp_load(m_context->filter) == 0;
}

Protections Confine(int staging, const UnpackLimits &limits, const SystemCallFilter &filter) {
    Protections protections;
    Limit(RLIMIT_CORE, 0);
    Limit(RLIMIT_NOFILE, kDescriptors);
    Limit(RLIMIT_FSIZE, limits.maxBytes);
    protections.memory = LimitMemory(limits.maxWindow);
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0) {
        protections.landlock = RestrictToFolder(staging);
        protections.systemCalls = filter.Load();
    }
    return protections;
}

} // namespace delivery
