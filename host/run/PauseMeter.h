// The longest time in which the main thread did not handle events: windows neither move nor answer then.
#pragma once

#include <algorithm>
#include <chrono>

namespace lumhost {

class PauseMeter {
public:
    using Clock = std::chrono::steady_clock;

    void Away() {
        m_since = Clock::now();
    }
    void Back() {
        m_longest = std::max(m_longest, Clock::now() - m_since);
    }
    std::chrono::milliseconds longest() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(m_longest);
    }

private:
    Clock::time_point m_since;
    Clock::duration m_longest{};
};

} // namespace lumhost
