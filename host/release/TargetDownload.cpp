#include "host/release/TargetDownload.h"

#include <algorithm>

namespace lumhost {

void TargetSources::Move(const std::string &address, bool toFront) {
    const auto found = std::find(m_addresses.begin(), m_addresses.end(), address);
    if (found == m_addresses.end()) {
        return;
    }
    if (toFront) {
        std::rotate(m_addresses.begin(), found, found + 1);
    } else {
        std::rotate(found, found + 1, m_addresses.end());
    }
}

void TargetSources::Answered(const std::string &address) {
    if (!m_known) {
        m_known = true;
        Move(address, true);
    }
}

void TargetSources::Failed(const std::string &address) {
    m_known = false;
    Move(address, false);
}

TargetDownload::TargetDownload(delivery::Transfers &transfers, TargetSources &sources, delivery::ReleaseTarget target,
                               delivery::Transfers::Progress progress, delivery::Transfers::Done done)
    : m_transfers(transfers), m_sources(sources), m_target(std::move(target)), m_progress(std::move(progress)),
      m_done(std::move(done)), m_left(sources.all().begin(), sources.all().end()) {
    Ask();
}

TargetDownload::~TargetDownload() {
    for (const auto &[source, id] : m_running) {
        m_transfers.Cancel(id);
    }
}

void TargetDownload::Ask() {
    const std::string source = m_left.front();
    m_left.pop_front();
    m_asked = Clock::now();
    // Where another source is left, that is asked instead of the same one again.
    const std::optional<unsigned> retries = m_left.empty() ? std::nullopt : std::optional(0U);
    m_running[source] = m_transfers.Get(
        source + m_target.address, [this, source](std::uint32_t bytes) { Received(source, bytes); },
        [this, source](const delivery::TransferResult &result) { Ended(source, result); },
        {.expected = delivery::ExpectedFile{m_target.path, m_target.facts}, .retries = retries});
}

void TargetDownload::Hurry(Clock::time_point now) {
    if (m_chosen.empty() && !m_left.empty() && now - m_asked >= kHeadStart) {
        Ask();
    }
}

void TargetDownload::Choose(const std::string &source) {
    if (!m_chosen.empty()) {
        return;
    }
    m_chosen = source;
    m_received = 0;
    m_sources.Answered(source);
    for (auto other = m_running.begin(); other != m_running.end();) {
        if (other->first == source) {
            ++other;
            continue;
        }
        m_transfers.Cancel(other->second);
        m_left.push_back(other->first); // in case that this one breaks off
        other = m_running.erase(other);
    }
}

void TargetDownload::Received(const std::string &source, std::uint32_t bytes) {
    Choose(source);
    m_received += bytes;
    if (m_received > m_told) {
        const auto news = static_cast<std::uint32_t>(m_received - m_told);
        m_told = m_received;
        const delivery::Transfers::Progress progress = m_progress; // which may destroy this object
        progress(news);
    }
}

void TargetDownload::Ended(const std::string &source, const delivery::TransferResult &result) {
    m_running.erase(source);
    if (result.ok) {
        Choose(source);
        const delivery::Transfers::Done done = std::move(m_done);
        done(result);
        return;
    }
    m_sources.Failed(source);
    if (!m_failure || result.mismatch) {
        m_failure = result;
    }
    if (m_chosen == source) {
        m_chosen.clear();
    }
    if (m_chosen.empty() && !m_left.empty()) {
        Ask();
    } else if (m_running.empty()) {
        const delivery::Transfers::Done done = std::move(m_done);
        done(*m_failure);
    }
}

} // namespace lumhost
