#include "host/frontend/ProgressMeter.h"

#include <algorithm>
#include <cmath>

namespace lumhost {

namespace {

using namespace std::chrono_literals;

constexpr auto kWindow = 8s; // over which the rate is taken
constexpr auto kSampling = 200ms;
constexpr auto kFirstWord = 2s; // so long nothing is said
constexpr auto kRecent = 3s;    // against which a break-down is seen
constexpr double kBrokenDown = 0.25;

double Seconds(RateWindow::Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

} // namespace

void RateWindow::Add(Clock::time_point now, std::uint64_t received) {
    if (m_samples.size() >= 2 && now - m_samples[m_samples.size() - 2].time < kSampling) {
        m_samples.back() = {now, received};
    } else {
        m_samples.push_back({now, received});
    }
    while (m_samples.size() > 2 && now - m_samples[1].time >= kWindow) {
        m_samples.pop_front();
    }
    // The last seconds brought far less than those before: those before say nothing of what is to come.
    const auto recent = std::find_if(m_samples.begin(), m_samples.end(),
                                     [&](const Sample &sample) { return now - sample.time <= kRecent; });
    if (recent == m_samples.begin() || now - recent->time < kFirstWord) {
        return;
    }
    const double before = static_cast<double>(recent->received - m_samples.front().received) /
                          std::max(Seconds(recent->time - m_samples.front().time), 0.001);
    const double lately = static_cast<double>(received - recent->received) / Seconds(now - recent->time);
    if (lately < before * kBrokenDown) {
        m_samples.erase(m_samples.begin(), recent);
    }
}

std::optional<double> RateWindow::Rate(Clock::time_point now) const {
    if (m_samples.size() < 2 || m_samples.back().time - m_samples.front().time < kFirstWord) {
        return std::nullopt;
    }
    if (now - m_samples.back().time > kRecent) { // nothing comes at all
        return std::nullopt;
    }
    const double bytes = static_cast<double>(m_samples.back().received - m_samples.front().received);
    return bytes / Seconds(now - m_samples.front().time);
}

unsigned RoundedTimeLeft(double seconds) {
    const auto up = [&](double step) { return static_cast<unsigned>(std::ceil(seconds / step) * step); };
    if (!(seconds < 1e8)) {
        return 100'000'000;
    }
    return std::max(1U, seconds <= 10 ? up(1) : seconds <= 60 ? up(5) : up(60));
}

void ProgressMeter::Announce(std::uint64_t total) {
    m_total = total;
}

void ProgressMeter::Receive(Clock::time_point now, std::uint32_t bytes) {
    m_received += bytes;
    m_window.Add(now, m_received);
}

Progress ProgressMeter::Now(Clock::time_point now) {
    Progress progress;
    progress.received = m_received;
    const std::optional<double> rate = m_window.Rate(now);
    if (rate) {
        progress.rate = static_cast<std::uint64_t>(*rate);
    }
    if (m_total == 0) {
        return progress;
    }
    progress.total = m_total;
    progress.percent =
        static_cast<int>(std::min(100.0, static_cast<double>(m_received) / static_cast<double>(m_total) * 100));
    if (!rate || *rate < 1 || m_received >= m_total) {
        m_shown.reset();
        return progress;
    }
    const double left = static_cast<double>(m_total - m_received) / *rate;
    // What is shown stays until the truth has left its step by a good part of it.
    if (!m_shown || left > *m_shown * 1.2 || RoundedTimeLeft(left) < *m_shown) {
        m_shown = RoundedTimeLeft(left);
    }
    progress.secondsLeft = m_shown;
    return progress;
}

} // namespace lumhost
