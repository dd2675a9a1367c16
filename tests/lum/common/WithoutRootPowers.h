// For tests of refused permissions: while the object lives, permissions count for root as they do for everyone.
#pragma once

#include <linux/capability.h>

class WithoutRootPowers {
public:
    WithoutRootPowers();
    ~WithoutRootPowers();
    WithoutRootPowers(const WithoutRootPowers &) = delete;
    WithoutRootPowers &operator=(const WithoutRootPowers &) = delete;

private:
    __user_cap_data_struct m_before[_LINUX_CAPABILITY_U32S_3]{};
};
