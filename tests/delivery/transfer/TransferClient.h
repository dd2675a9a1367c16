// What a program does with its transfers: it waits to be woken, and delivers.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>

#include "delivery/transfer/Transfers.h"
#include "tests/support/TempDir.h"

struct Outcome {
    delivery::TransferResult result;
    std::string content;
    std::uint64_t progress = 0;
    int done = 0;
};

// The main thread's part: waits to be woken, and delivers.
class Client {
public:
    // Without a folder, in one of its own.
    explicit Client(const delivery::TransferSettings &changes = Quick(), const std::filesystem::path &folder = {})
        : m_transfers(In(folder.empty() ? m_dir.path() : folder, changes), [this] { Wake(); }) {}

    static delivery::TransferSettings Quick() {
        delivery::TransferSettings settings;
        settings.firstPause = std::chrono::milliseconds(4);
        settings.longestPause = std::chrono::milliseconds(16);
        settings.longestRetryAfter = std::chrono::milliseconds(20);
        return settings;
    }

    delivery::Transfers &transfers() {
        return m_transfers;
    }
    const std::filesystem::path &folder() const {
        return m_dir.path();
    }

    delivery::Transfers::Id Start(const std::string &url, Outcome &outcome, const delivery::KnownFile &known = {}) {
        return m_transfers.Get(
            url, [&](std::uint32_t bytes) { outcome.progress += bytes; },
            [&](const delivery::TransferResult &result) {
                outcome.result = result;
                outcome.content = result.ok ? ReadFile(result.file) : "";
                ++outcome.done;
            },
            std::numeric_limits<std::uint64_t>::max(), known);
    }

    Outcome Fetch(const std::string &url) {
        Outcome outcome;
        Start(url, outcome);
        RunUntil([&] { return outcome.done > 0; });
        return outcome;
    }

    template <typename Condition> void RunUntil(Condition condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            std::unique_lock guard(m_lock);
            ASSERT_TRUE(m_changed.wait_until(guard, end, [this] { return m_woken > m_delivered; })) << "it hangs";
            m_delivered = m_woken;
            guard.unlock();
            m_transfers.Deliver();
        }
    }

    int woken() {
        const std::lock_guard guard(m_lock);
        return m_woken;
    }

private:
    static delivery::TransferSettings In(const std::filesystem::path &folder, delivery::TransferSettings settings) {
        settings.folder = folder;
        return settings;
    }
    void Wake() {
        const std::lock_guard guard(m_lock);
        ++m_woken;
        m_changed.notify_all();
    }

    TempDir m_dir;
    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_woken = 0;
    int m_delivered = 0;
    delivery::Transfers m_transfers;
};
