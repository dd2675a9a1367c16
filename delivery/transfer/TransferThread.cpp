#include "delivery/transfer/TransferThread.h"

#include <algorithm>
#include <new>
#include <utility>

#include "delivery/transfer/CachedFile.h"
#include "delivery/transfer/Download.h"
#include "base/ScopedSignalBlock.h"

namespace delivery {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kPublishEvery{50};
constexpr milliseconds kIdle{60'000};
constexpr unsigned kParallelRequests = 4;

// Downloads share the line. Where a few fill it, a further one only makes the first package come later, and others
// could be installed meanwhile. So there are few at first, and one more after each while in which the line was not
// full.
constexpr unsigned kParallelAtFirst = 2;
constexpr milliseconds kWhile{20};
constexpr double kFullLine = 100e6; // bytes a second: nearly all of a gigabit line

curl_off_t Arrived(const Exchange &exchange) {
    curl_off_t bytes = 0;
    curl_easy_getinfo(exchange.handle(), CURLINFO_SIZE_DOWNLOAD_T, &bytes);
    return bytes;
}

} // namespace

TransferThread::TransferThread(TransferSettings settings, std::function<void()> wake)
    : m_rules{std::move(settings), TransferProxies::FromEnvironment()}, m_wake(std::move(wake)),
      m_parallel(std::clamp(m_rules.settings.parallel, 1u, kParallelAtFirst)) {
    static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT); // not safe on two threads at once
    m_multi.reset(initialised == CURLE_OK ? curl_multi_init() : nullptr);
    if (!m_multi) {
        throw std::bad_alloc();
    }
    const base::ScopedSignalBlock block;
    m_thread = std::thread(&TransferThread::Run, this);
}

TransferThread::~TransferThread() {
    {
        const std::lock_guard lock(m_lock);
        m_inbox.stop = true;
    }
    Wake();
    m_thread.join();
    for (const auto &errand : m_errands) {
        // A name look-up that hangs would otherwise hold up the end.
        curl_easy_setopt(errand->exchange->handle(), CURLOPT_QUICK_EXIT, 1L);
        Drop(*errand);
    }
}

void TransferThread::Wake() {
    curl_multi_wakeup(m_multi.get());
}

void TransferThread::Start(Transfers::Id id, base::Url url, std::filesystem::path file, TransferOrder order,
                           std::optional<SharedFile> shared, Ended ended) {
    auto download =
        std::make_unique<Download>(m_rules, std::move(url), std::move(file), std::move(order), std::move(shared));
    Download *const raw = download.get();
    {
        const std::lock_guard lock(m_lock);
        m_inbox.errands.push_back(std::make_unique<Errand>(Errand{id, std::move(download), raw, {}, std::move(ended)}));
    }
    Wake();
}

void TransferThread::Refuse(Transfers::Id id, const std::string &error) {
    PutReports({{id, {0, false, TransferResult{false, {}, error, error, 0, {}}}}});
}

void TransferThread::Cancel(std::vector<Transfers::Id> ids) {
    {
        const std::lock_guard lock(m_lock);
        for (const Transfers::Id id : ids) {
            if (const auto found = m_reports.extract(id); !found.empty() && found.mapped().result) {
                std::error_code ignored;
                std::filesystem::remove(found.mapped().result->file, ignored);
            }
        }
        m_inbox.cancelled.insert(m_inbox.cancelled.end(), ids.begin(), ids.end());
    }
    Wake();
}

void TransferThread::Request(base::Url url) {
    auto request = std::make_unique<BackgroundRequest>(m_rules, std::move(url));
    {
        const std::lock_guard lock(m_lock);
        if (m_requests >= m_rules.settings.maxRequests) {
            return;
        }
        ++m_requests;
        m_inbox.errands.push_back(std::make_unique<Errand>(Errand{0, std::move(request), nullptr, {}}));
    }
    Wake();
}

bool TransferThread::WaitForRequests(milliseconds longest) {
    std::unique_lock lock(m_lock);
    return m_requestsGone.wait_for(lock, longest, [this] { return m_requests == 0; });
}

TransferReports TransferThread::Collect() {
    const std::lock_guard lock(m_lock);
    m_woken = false;
    return std::exchange(m_reports, {});
}

void TransferThread::PutReports(const TransferReports &reports) {
    if (reports.empty()) {
        return;
    }
    {
        const std::lock_guard lock(m_lock);
        for (const auto &[id, report] : reports) {
            TransferReport &sum = m_reports[id];
            sum.news += report.news;
            sum.keepsPart = report.keepsPart;
            if (report.result) {
                sum.result = report.result;
            }
        }
        if (std::exchange(m_woken, true)) {
            return;
        }
    }
    if (m_wake) {
        m_wake();
    }
}

void TransferThread::Run() {
    while (TakeInbox()) {
        BeginDue();
        int running = 0;
        curl_multi_perform(m_multi.get(), &running);
        EndFinished();
        EndOverdue();
        Publish();
        if (!std::exchange(m_slotFreed, false)) {
            curl_multi_poll(m_multi.get(), nullptr, 0, PollTime(), nullptr);
        }
    }
}

bool TransferThread::TakeInbox() {
    Inbox inbox;
    {
        const std::lock_guard lock(m_lock);
        inbox = std::exchange(m_inbox, {});
    }
    std::move(inbox.errands.begin(), inbox.errands.end(), std::back_inserter(m_errands));
    for (const Transfers::Id id : inbox.cancelled) {
        std::erase_if(m_errands, [&](const auto &errand) {
            if (errand->id == id) {
                Drop(*errand);
            }
            return errand->id == id;
        });
    }
    return !inbox.stop;
}

void TransferThread::AdmitMore(TransferClock::time_point now, unsigned running) {
    if (running > 0 && now - m_measured < kWhile) {
        return;
    }
    curl_off_t arrived = m_arrivedWhole;
    for (const auto &errand : m_errands) {
        if (errand->TakesTurn() && errand->active) {
            arrived += Arrived(*errand->exchange);
        }
    }
    const double seconds = std::chrono::duration<double>(now - m_measured).count();
    if (running == m_parallel && m_parallel < m_rules.settings.parallel &&
        static_cast<double>(arrived - m_arrived) < kFullLine * seconds) {
        ++m_parallel;
    }
    m_measured = now;
    m_arrived = arrived;
}

void TransferThread::BeginDue() {
    const TransferClock::time_point now = TransferClock::now();
    unsigned downloads = 0, requests = 0;
    for (const auto &errand : m_errands) {
        (errand->TakesTurn() ? downloads : requests) += errand->active;
    }
    AdmitMore(now, downloads);
    std::vector<Errand *> finished;
    for (const auto &errand : m_errands) {
        unsigned &running = errand->TakesTurn() ? downloads : requests;
        const unsigned most = errand->TakesTurn() ? m_parallel : kParallelRequests;
        if (errand->active || errand->due > now || running >= most) {
            continue;
        }
        if (const auto pause = errand->download ? errand->download->WaitForOthers(now) : std::nullopt) {
            errand->due = now + *pause;
            if (errand->download->IsOver()) {
                finished.push_back(errand.get());
            }
            continue;
        }
        errand->exchange->Begin(now);
        CURL *const handle = errand->exchange->handle();
        curl_easy_setopt(handle, CURLOPT_PRIVATE, errand.get());
        curl_multi_add_handle(m_multi.get(), handle);
        errand->active = true;
        ++running;
    }
    for (Errand *errand : finished) {
        Finish(*errand);
    }
}

void TransferThread::EndFinished() {
    int left = 0;
    while (const CURLMsg *message = curl_multi_info_read(m_multi.get(), &left)) {
        if (message->msg != CURLMSG_DONE) {
            continue;
        }
        Errand *errand = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &errand);
        End(*errand, message->data.result);
    }
}

void TransferThread::EndOverdue() {
    const TransferClock::time_point now = TransferClock::now();
    std::vector<Errand *> overdue;
    for (const auto &errand : m_errands) {
        if (errand->active && errand->exchange->Overdue(now)) {
            overdue.push_back(errand.get());
        }
    }
    for (Errand *errand : overdue) {
        End(*errand, CURLE_OPERATION_TIMEDOUT);
    }
}

void TransferThread::Drop(Errand &errand) {
    if (errand.active) {
        if (errand.TakesTurn()) {
            m_arrivedWhole += Arrived(*errand.exchange);
        }
        curl_multi_remove_handle(m_multi.get(), errand.exchange->handle());
        errand.active = false;
    }
}

void TransferThread::End(Errand &errand, CURLcode code) {
    m_slotFreed = true;
    const auto pause = errand.exchange->End(code);
    Drop(errand);
    if (pause) {
        errand.due = TransferClock::now() + *pause;
        return;
    }
    Finish(errand);
}

void TransferThread::Finish(Errand &errand) {
    if (errand.ended) {
        errand.ended(errand.download->result());
    } else if (errand.download) {
        m_unpublished[errand.id] = {errand.download->TakeNews(), false, errand.download->result()};
        if (auto cached = errand.download->TakeCached()) {
            m_cached.push_back(std::move(cached));
        }
    } else {
        const std::lock_guard lock(m_lock);
        if (--m_requests == 0) {
            m_requestsGone.notify_all();
        }
    }
    std::erase_if(m_errands, [&](const auto &other) { return other.get() == &errand; });
}

void TransferThread::Publish() {
    const TransferClock::time_point now = TransferClock::now();
    if (m_unpublished.empty() && now - m_published < kPublishEvery) {
        return;
    }
    m_published = now;
    for (const auto &errand : m_errands) {
        if (const std::uint64_t news = errand->TakesTurn() ? errand->download->TakeNews() : 0) {
            m_unpublished[errand->id].news += news;
            m_unpublished[errand->id].keepsPart = errand->download->KeepsPart();
        }
    }
    PutReports(std::exchange(m_unpublished, {}));
}

int TransferThread::PollTime() const {
    const TransferClock::time_point now = TransferClock::now();
    TransferClock::time_point until = now + kIdle;
    for (const auto &errand : m_errands) {
        if (errand->active) {
            until = std::min(until, now + kPublishEvery);
        } else if (errand->due > now) { // else it waits for another to end, or to be admitted beside it
            until = std::min(until, errand->due);
        } else if (errand->TakesTurn() && m_parallel < m_rules.settings.parallel) {
            until = std::min(until, std::max(now, m_measured + kWhile));
        }
    }
    return static_cast<int>(std::chrono::ceil<milliseconds>(until - now).count());
}

} // namespace delivery
