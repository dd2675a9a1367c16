#include "delivery/worker/Confinement.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/seccomp.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "base/Files.h"
#include "base/Text.h"
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
// that leads anywhere, and no other process. Address checks ask for the signal stack at each exception.
constexpr int kCalls[] = {
    SCMP_SYS(brk),          SCMP_SYS(munmap),     SCMP_SYS(mremap),          SCMP_SYS(madvise),
    SCMP_SYS(futex),        SCMP_SYS(getrandom),  SCMP_SYS(rt_sigprocmask),  SCMP_SYS(rt_sigaction),
    SCMP_SYS(rt_sigreturn), SCMP_SYS(exit_group), SCMP_SYS(restart_syscall), SCMP_SYS(clock_gettime),
    SCMP_SYS(read),         SCMP_SYS(pread64),    SCMP_SYS(write),           SCMP_SYS(pwrite64),
    SCMP_SYS(writev),       SCMP_SYS(lseek),      SCMP_SYS(close),           SCMP_SYS(fstat),
    SCMP_SYS(newfstatat),   SCMP_SYS(fstatfs),    SCMP_SYS(sendmsg),         SCMP_SYS(recvmsg),
    SCMP_SYS(openat),       SCMP_SYS(mkdirat),    SCMP_SYS(symlinkat),       SCMP_SYS(linkat),
    SCMP_SYS(ftruncate),    SCMP_SYS(fallocate),  SCMP_SYS(sigaltstack)};

void Limit(__rlimit_resource resource, rlim_t most) {
    rlimit limit{};
    if (getrlimit(resource, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max = std::min(limit.rlim_cur, most); // RLIM_INFINITY is the largest
        setrlimit(resource, &limit);
    }
}

bool LimitMemory(std::uint64_t now, std::uint64_t window) {
    if (now == 0 || now > kUnlikelySize) {
        return false;
    }
    Limit(RLIMIT_AS, now + window + kBesideWindow);
    return true;
}

} // namespace

namespace {

// A filter in libseccomp's terms.
class FilterPlan {
public:
    FilterPlan() : m_filter(seccomp_init(SCMP_ACT_ERRNO(ENOSYS))), m_whole(m_filter != nullptr) {}
    ~FilterPlan() {
        if (m_filter) {
            seccomp_release(m_filter);
        }
    }
    FilterPlan(const FilterPlan &) = delete;
    FilterPlan &operator=(const FilterPlan &) = delete;

    void Allow(int call) {
        m_whole = m_whole && seccomp_rule_add(m_filter, SCMP_ACT_ALLOW, call, 0) == 0;
    }
    void Allow(int call, scmp_arg_cmp condition) {
        m_whole = m_whole && seccomp_rule_add_array(m_filter, SCMP_ACT_ALLOW, call, 1, &condition) == 0;
    }
    // Empty when something cannot be had.
    std::vector<sock_filter> Instructions() const {
        std::vector<sock_filter> instructions;
        const base::ScopedDescriptor file(memfd_create("filter", MFD_CLOEXEC));
        if (m_whole && file && seccomp_export_bpf(m_filter, file.get()) == 0) {
            const std::string bytes = base::ReadWhole(file.get(), 1 << 20).value_or("");
            instructions.resize(bytes.size() / sizeof(sock_filter));
            std::memcpy(instructions.data(), bytes.data(), instructions.size() * sizeof(sock_filter));
        }
        return instructions;
    }

private:
    scmp_filter_ctx m_filter;
    bool m_whole;
};

} // namespace

SystemCallFilter::SystemCallFilter() {
    FilterPlan plan;
    for (const int call : kCalls) {
        plan.Allow(call);
    }
    // No page can be executed that could not before; limits are asked, not set; no descriptor gets an owner to signal.
    plan.Allow(SCMP_SYS(mmap), SCMP_A2_64(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0));
    plan.Allow(SCMP_SYS(mprotect), SCMP_A2_64(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0));
    plan.Allow(SCMP_SYS(prlimit64), SCMP_A2_64(SCMP_CMP_EQ, 0));
    for (const unsigned command : {F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL, F_SETFL}) {
        plan.Allow(SCMP_SYS(fcntl), SCMP_A1_64(SCMP_CMP_EQ, command));
    }
    m_instructions = plan.Instructions();
}

bool SystemCallFilter::Load() const {
    const sock_fprog program{static_cast<unsigned short>(m_instructions.size()),
                             const_cast<sock_filter *>(m_instructions.data())};
    return !m_instructions.empty() && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

std::uint64_t AddressSpace() {
    const base::ScopedDescriptor file(open("/proc/self/statm", O_RDONLY | O_CLOEXEC));
    const std::string text = file ? base::ReadStart(file.get(), 100) : "";
    const auto pages = base::ReadNumber<std::uint64_t>(std::string_view(text).substr(0, text.find(' ')));
    return pages.value_or(0) * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

Protections Confine(int staging, const UnpackLimits &limits, std::uint64_t addressSpace,
                    const SystemCallFilter &filter) {
    Protections protections;
    Limit(RLIMIT_CORE, 0);
    Limit(RLIMIT_NOFILE, kDescriptors);
    Limit(RLIMIT_FSIZE, limits.maxBytes);
    protections.memory = LimitMemory(addressSpace, limits.maxWindow);
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0) {
        protections.landlock = RestrictToFolder(staging);
        protections.systemCalls = filter.Load();
    }
    return protections;
}

} // namespace delivery
