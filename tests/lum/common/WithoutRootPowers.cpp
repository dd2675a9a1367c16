#include "tests/lum/common/WithoutRootPowers.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

__user_cap_header_struct ThisProcess() {
    return {_LINUX_CAPABILITY_VERSION_3, 0};
}

} // namespace

WithoutRootPowers::WithoutRootPowers() {
    __user_cap_header_struct header = ThisProcess();
    EXPECT_EQ(syscall(SYS_capget, &header, m_before), 0);
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3];
    for (int i = 0; i < _LINUX_CAPABILITY_U32S_3; ++i) {
        none[i] = m_before[i];
        none[i].effective = 0;
    }
    header = ThisProcess();
    EXPECT_EQ(syscall(SYS_capset, &header, none), 0);
}

WithoutRootPowers::~WithoutRootPowers() {
    __user_cap_header_struct header = ThisProcess();
    EXPECT_EQ(syscall(SYS_capset, &header, m_before), 0);
}
