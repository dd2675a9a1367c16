// Collects the extension's traces: hands every line on, and keeps the warnings for the site's log.
//
// Plain C++; TraceObserver connects it to the notifications. A line may come on any thread; everything else belongs to
// the main thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace lumhost {

struct TraceLine {
    std::chrono::system_clock::time_point time;
    int level; // 0 debug, 1 information, 2 warning, 3 error
    std::string text;
};

// "2031-05-06T07:08:09.123Z warning the text", the text on one line.
std::string FormatLine(const TraceLine &line);

class TraceCollector {
public:
    // So many bytes of percent-encoded warnings are handed out at most: they travel in the query of an address.
    static constexpr std::size_t kLongestAnswer = 2000;

    // Called for every line, on the thread on which it came, one at a time. It must not trace.
    using Listener = std::function<void(const TraceLine &)>;
    void Listen(Listener listener);

    // What `hide` takes out of a text is not handed out to the site. Before the first line.
    using Hide = std::function<std::string(std::string_view)>;
    void HideFromSite(Hide hide) {
        m_hide = std::move(hide);
    }

    void Add(int level, std::string text);

    // The warnings and errors since the last reset, percent-encoded, oldest first, separated by an encoded line break.
    // When they are too long, the newest; empty when there are none.
    std::string Warnings() const;
    void ResetWarnings();

private:
    mutable std::mutex m_lock;
    std::deque<std::string> m_warnings; // encoded; never much more than an answer holds
    std::size_t m_size = 0;
    std::vector<Listener> m_listeners;
    Hide m_hide;
};

} // namespace lumhost
