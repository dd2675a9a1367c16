// One target of a release, from whichever source has it.
//
// The sources are asked in turn: the next one when the one before has failed, and, as long as nobody knows which is
// quick (Hurry), also when that has not begun to answer for a while. Who answers first is the one, the others are
// cancelled. What arrives is checked against the release by the transfer, so it does not matter whose source it is.
// Main thread.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "delivery/release/ReleaseClient.h"
#include "delivery/transfer/Transfers.h"

namespace lumhost {

// The addresses that targets lie below, the best one first.
class TargetSources {
public:
    void Set(std::vector<std::string> addresses) {
        m_addresses = std::move(addresses);
    }
    const std::vector<std::string> &all() const {
        return m_addresses;
    }
    // Whether one has answered yet, or there is no choice.
    bool AreKnown() const {
        return m_known || m_addresses.size() < 2;
    }
    void Answered(const std::string &address);
    void Failed(const std::string &address);

private:
    void Move(const std::string &address, bool toFront);

    std::vector<std::string> m_addresses;
    bool m_known = false;
};

class TargetDownload {
public:
    using Clock = std::chrono::steady_clock;
    // How long a source may take to begin its answer before the next one is asked, too.
    static constexpr std::chrono::milliseconds kHeadStart{500};

    // Starts at once. The callbacks are those of Transfers::Get; `done` may destroy this object. `transfers` and
    // `sources` must outlive it.
    TargetDownload(delivery::Transfers &transfers, TargetSources &sources, delivery::ReleaseTarget target,
                   delivery::Transfers::Progress progress, delivery::Transfers::Done done);
    ~TargetDownload(); // cancels it
    TargetDownload(const TargetDownload &) = delete;
    TargetDownload &operator=(const TargetDownload &) = delete;

    // Asks the next source when the last one has had its time.
    void Hurry(Clock::time_point now);

private:
    void Ask();
    void Received(const std::string &source, std::uint32_t bytes);
    void Ended(const std::string &source, const delivery::TransferResult &result);
    void Choose(const std::string &source);

    delivery::Transfers &m_transfers;
    TargetSources &m_sources;
    const delivery::ReleaseTarget m_target;
    delivery::Transfers::Progress m_progress;
    delivery::Transfers::Done m_done;

    std::deque<std::string> m_left;                           // to be asked yet
    std::map<std::string, delivery::Transfers::Id> m_running; // by source
    std::string m_chosen;                                     // the one that answers; empty when none does
    std::uint64_t m_received = 0;                             // from that
    std::uint64_t m_told = 0;                                 // a byte of the file is told once
    Clock::time_point m_asked;
    std::optional<delivery::TransferResult> m_failure; // a wrong file rather than no file
};

} // namespace lumhost
