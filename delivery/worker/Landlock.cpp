#include "delivery/worker/Landlock.h"

#include <linux/landlock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "base/ScopedDescriptor.h"

namespace delivery {

namespace {

// The kernel's structure as of version 6, and what the headers of an older system lack. A kernel accepts fields that it
// does not know while they are 0.
struct RulesetAttributes {
    std::uint64_t files;
    std::uint64_t network;
    std::uint64_t scope;
};
constexpr std::uint64_t kTruncate = 1 << 14;            // from version 3
constexpr std::uint64_t kDeviceIoctl = 1 << 15;         // 5
constexpr std::uint64_t kBindAndConnectTcp = 3;         // 4
constexpr std::uint64_t kAbstractSocketsAndSignals = 3; // 6

constexpr std::uint64_t kMake = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_READ_DIR |
                                LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
                                LANDLOCK_ACCESS_FS_MAKE_SYM | LANDLOCK_ACCESS_FS_REFER | kTruncate;

// Before version 2 no second name of a file could be made in another folder.
constexpr long kOldest = 2;

RulesetAttributes Everything(long version) {
    std::uint64_t files = (LANDLOCK_ACCESS_FS_REFER << 1) - 1;
    files |= version >= 3 ? kTruncate : 0;
    files |= version >= 5 ? kDeviceIoctl : 0;
    return {files, version >= 4 ? kBindAndConnectTcp : 0, version >= 6 ? kAbstractSocketsAndSignals : 0};
}

} // namespace

unsigned RestrictToFolder(int staging) {
    const long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < kOldest) {
        return 0;
    }
    const RulesetAttributes everything = Everything(version);
    const base::ScopedDescriptor rules(
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &everything, sizeof everything, 0)));
    landlock_path_beneath_attr rule{};
    rule.allowed_access = kMake & everything.files;
    rule.parent_fd = staging;
    if (!rules || syscall(SYS_landlock_add_rule, rules.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0 ||
        syscall(SYS_landlock_restrict_self, rules.get(), 0) != 0) {
        return 0;
    }
    return static_cast<unsigned>(version);
}

} // namespace delivery
