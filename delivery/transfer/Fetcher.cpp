#include "delivery/transfer/Fetcher.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace delivery {

namespace {

TransferSettings ForWaiting(TransferSettings settings) {
    settings.retries = 1;
    return settings;
}

TransferResult Failure(const std::string &cause, const TransferResult &reply) {
    TransferResult failure;
    failure.error = failure.cause = cause;
    failure.httpStatus = reply.httpStatus;
    failure.address = reply.address;
    return failure;
}

} // namespace

// Waits for the transfer thread without a run loop.
class Fetcher::Doorbell {
public:
    void Ring() {
        const std::scoped_lock lock(m_lock);
        m_rung = true;
        m_changed.notify_one();
    }
    void Wait() {
        std::unique_lock lock(m_lock);
        m_changed.wait_for(lock, std::chrono::milliseconds(100), [this] { return m_rung; });
        m_rung = false;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_rung = false;
};

Fetcher::Fetcher(TransferSettings settings)
    : m_doorbell(std::make_unique<Doorbell>()),
      m_transfers(ForWaiting(std::move(settings)), [bell = m_doorbell.get()] { bell->Ring(); }) {}

Fetcher::~Fetcher() = default; // the folder of the transfers goes, and the last file with it

TransferResult Fetcher::Fetch(const std::string &url, std::uint64_t maxBytes, const std::function<bool()> &stopped) {
    std::error_code error;
    if (!m_last.empty()) {
        std::filesystem::remove(m_last, error);
    }
    std::optional<TransferResult> result;
    const Transfers::Id id = m_transfers.Get(url, nullptr,
                                             [&](const TransferResult &given) {
                                                 result = given;
                                                 if (given.ok) {
                                                     result->file = m_last = given.file.parent_path() / "fetched";
                                                     std::filesystem::rename(given.file, m_last, error);
                                                 }
                                             },
                                             {.maxBytes = maxBytes});
    while (!result) {
        if (stopped && stopped()) {
            m_transfers.Cancel(id);
            return Failure("stopped", {});
        }
        m_doorbell->Wait();
        m_transfers.Deliver();
    }
    if (error) {
        return Failure(error.message(), *result);
    }
    return *result;
}

} // namespace delivery
