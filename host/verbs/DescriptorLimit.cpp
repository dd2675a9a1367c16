#include "host/verbs/DescriptorLimit.h"

#include <sys/resource.h>

#include <algorithm>

namespace lumhost {

void RaiseDescriptorLimit() {
    constexpr rlim_t kEnough = 16'384;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < kEnough) {
        limit.rlim_cur = std::min(kEnough, limit.rlim_max);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace lumhost
