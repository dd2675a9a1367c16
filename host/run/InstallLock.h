// Keeps two processes of a user from installing, or starting what is installed, at the same time: what the extension
// does with a component takes several steps, and in between nothing, or a link to nothing, is in its place. Nor does
// one install while another looks at what is there.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>

#include "base/Files.h"

namespace lumhost {

class InstallLock {
public:
    // A holder that makes others wait for longer has been stopped, or has a package so large that it may be disturbed.
    static constexpr std::chrono::minutes kLongestWait{2};

    // The file of the lock; it is made when it is missing, its folder is not.
    explicit InstallLock(std::filesystem::path file) : m_file(std::move(file)) {}

    // True when this process may go on: it has the lock, or there can be none (a folder that is missing or cannot be
    // written), or it was kept waiting for too long, after which it does not wait again.
    bool Take();
    void Release() {
        m_lock.reset();
    }

private:
    using Clock = std::chrono::steady_clock;

    const std::filesystem::path m_file;
    std::optional<base::FileLock> m_lock;
    std::optional<Clock::time_point> m_waitsSince;
    bool m_gaveUp = false;
};

} // namespace lumhost
