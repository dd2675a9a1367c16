// The thread that transfers, and the one lock between it and the main thread: errands go in, reports come out.
//
// All public functions but Start and Cancel belong to the main thread. The thread itself works on its own data, takes
// the lock only to fetch new errands and to add up reports, and calls `wake` (without the lock) when there is something
// to collect and nothing was waiting to be collected already: so neither reports nor wake-ups pile up.
#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

#include "delivery/transfer/Exchange.h"

namespace delivery {

class CachedFile;
class Download;

// Where a known file is in the cache.
struct SharedFile {
    std::filesystem::path folder;
    std::string name;
    KnownFile known;
};

// What became known of a download since the last collection.
struct TransferReport {
    std::uint64_t news = 0;               // bytes
    bool keepsPart = false;               // they stay when the download is interrupted
    std::optional<TransferResult> result; // nothing more follows it
};
using TransferReports = std::map<Transfers::Id, TransferReport>;

class TransferThread {
public:
    TransferThread(TransferSettings settings, std::function<void()> wake);
    ~TransferThread(); // ends what runs and removes its files
    TransferThread(const TransferThread &) = delete;
    TransferThread &operator=(const TransferThread &) = delete;

    using Ended = std::function<void(const TransferResult &)>;

    // With `ended`, that is told instead of the main thread, on the transfer thread, and the download does not take
    // another one's turn. These two on any thread.
    void Start(Transfers::Id id, base::Url url, std::filesystem::path file, TransferOrder order,
               std::optional<SharedFile> shared = {}, Ended ended = {});
    void Cancel(std::vector<Transfers::Id> ids);

    void Refuse(Transfers::Id id, const std::string &error); // a report of failure, the way of all others
    void Request(base::Url url);
    bool WaitForRequests(std::chrono::milliseconds longest);
    TransferReports Collect();

private:
    struct Errand {
        Transfers::Id id; // 0 for a background request
        std::unique_ptr<Exchange> exchange;
        Download *download; // the exchange, or null for a background request
        TransferClock::time_point due;
        Ended ended = {};
        bool active = false;

        bool TakesTurn() const {
            return download && !ended;
        }
    };
    struct Inbox {
        std::vector<std::unique_ptr<Errand>> errands;
        std::vector<Transfers::Id> cancelled;
        bool stop = false;
    };
    struct CloseMulti {
        void operator()(CURLM *multi) const {
            curl_multi_cleanup(multi);
        }
    };

    void Wake();
    void Run();
    bool TakeInbox();                                                // false: stop
    void AdmitMore(TransferClock::time_point now, unsigned running); // sets m_parallel
    void BeginDue();
    void EndFinished();
    void EndOverdue();
    void End(Errand &errand, CURLcode code);
    void Finish(Errand &errand);
    void Drop(Errand &errand);
    void Publish();
    void PutReports(const TransferReports &reports);
    int PollTime() const;

    const TransferRules m_rules;
    const std::function<void()> m_wake;

    std::mutex m_lock;
    Inbox m_inbox;
    TransferReports m_reports;
    bool m_woken = false; // since the last Collect
    std::size_t m_requests = 0;
    std::condition_variable m_requestsGone;

    // The thread's own:
    std::unique_ptr<CURLM, CloseMulti> m_multi;
    std::vector<std::unique_ptr<Errand>> m_errands;    // in the order in which they were given
    std::vector<std::unique_ptr<CachedFile>> m_cached; // files that this process has downloaded or used
    TransferReports m_unpublished;
    TransferClock::time_point m_published;
    bool m_slotFreed = false; // so that the next one can begin at once
    unsigned m_parallel;      // so many downloads may run at once by now
    TransferClock::time_point m_measured;
    curl_off_t m_arrived = 0;      // bytes of all downloads until then
    curl_off_t m_arrivedWhole = 0; // bytes of those that have ended

    std::thread m_thread; // last: it uses all of the above
};

} // namespace delivery
