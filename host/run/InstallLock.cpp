#include "host/run/InstallLock.h"

#include <cerrno>

namespace lumhost {

bool InstallLock::Take() {
    if (m_lock || m_gaveUp) {
        return true;
    }
    auto lock = base::FileLock::Try(m_file);
    if (!lock && lock.error().code == EWOULDBLOCK) {
        m_waitsSince = m_waitsSince.value_or(Clock::now());
        m_gaveUp = Clock::now() - *m_waitsSince >= kLongestWait;
        return m_gaveUp;
    }
    m_waitsSince.reset();
    if (lock) {
        m_lock.emplace(std::move(*lock));
    }
    return true;
}

} // namespace lumhost
