// Counts the bytes of a start's packages and says how long the rest will take.
//
// The rate is that of the last seconds, not of the whole download, so that it follows the connection. When that breaks
// down the rate is forgotten; then, as at the beginning, the time left is unknown instead of wrong. The time left is
// given in steps that grow with it, so that it does not flicker.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

#include "host/frontend/EventSink.h"

namespace lumhost {

class RateWindow {
public:
    using Clock = std::chrono::steady_clock;

    // `received` is the sum so far; times do not go back.
    void Add(Clock::time_point now, std::uint64_t received);
    // Bytes a second; nothing while too little is known.
    std::optional<double> Rate(Clock::time_point now) const;

private:
    struct Sample {
        Clock::time_point time;
        std::uint64_t received;
    };
    std::deque<Sample> m_samples;
};

// Whole seconds: single ones to 10, fives to a minute, minutes from there. Always up, and up to at least 1.
unsigned RoundedTimeLeft(double seconds);

class ProgressMeter {
public:
    using Clock = RateWindow::Clock;

    // The site announced this many bytes in all. 0 means that the sizes are not known.
    void Announce(std::uint64_t total);
    void Receive(Clock::time_point now, std::uint32_t bytes);

    Progress Now(Clock::time_point now);

private:
    std::uint64_t m_total = 0;
    std::uint64_t m_received = 0;
    RateWindow m_window;
    std::optional<unsigned> m_shown;
};

} // namespace lumhost
