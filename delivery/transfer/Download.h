// A download to a file: the exchanges that it takes.
//
//   ask for all of it, or for the rest when the server named the file by a strong tag (If-Range)
//     -> redirect: the same at the next address, from which the reply then comes
//     -> the reply fits (200: from the start; 206: exactly the rest): store what comes, until all is there
//     -> a fault that may pass: pause, then from the top; what is stored stays if it can be gone on with
//     -> any other fault: the end
//
// A file that is shared with other processes begins with a look at whose turn it is (WaitForOthers).
#pragma once

#include <cstdint>
#include <random>

#include "delivery/transfer/CachedFile.h"
#include "delivery/transfer/Exchange.h"
#include "delivery/transfer/TransferFailure.h"
#include "delivery/transfer/TransferFile.h"
#include "delivery/transfer/TransferThread.h"

namespace delivery {

// The pause after so many failed tries (from 1), as TransferSettings describes it.
std::chrono::milliseconds RetryPause(const TransferSettings &settings, unsigned tries, std::minstd_rand &random);

class Download final : public Exchange {
public:
    // A file of more bytes than the order or the settings allow is refused.
    Download(const TransferRules &rules, base::Url url, std::filesystem::path file, TransferOrder order,
             std::optional<SharedFile> shared = {});

    // To be called before Begin: the pause until it is to be called again, because another process downloads the file,
    // or because that one has finished it, which is then the end of this one.
    std::optional<std::chrono::milliseconds> WaitForOthers(TransferClock::time_point now);
    bool IsOver() const {
        return m_complete || (m_failure && !m_failure->transient);
    }

    void Begin(TransferClock::time_point now) override;
    std::optional<std::chrono::milliseconds> End(CURLcode code) override;
    bool Overdue(TransferClock::time_point now) override;

    // The bytes that have arrived for the first time since the last call.
    std::uint64_t TakeNews();
    bool KeepsPart() const {
        return m_cached && !m_tag.empty();
    }
    // After the end.
    TransferResult result() const;
    // To be kept until the process has done with the file; null when it is not shared or not complete.
    std::unique_ptr<CachedFile> TakeCached();

private:
    enum class Body { Unknown, Store, Drop };

    bool Receive(const char *data, std::size_t size) override;
    curl_slist *AddHeaders(curl_slist *headers) override;

    // Looks at the head of the reply, once; sets m_body, or m_failure.
    void Judge();
    void JudgeWhole(const ReplyHead &reply);
    void JudgeRest(const ReplyHead &reply);
    void CheckRoom();
    // Whether the rest of what is stored can be asked for.
    bool CanResume() const {
        return m_file.size() > 0 && !m_tag.empty();
    }
    void StartOver();
    void TakeTurn();
    // Whether the tag is of what `address` is.
    bool IsTagOf(const std::string &address) const;
    void Complete();
    bool HasDigest() const;
    bool Fail(TransferFailure failure);
    // Fails with what the check of the expected file says; true when that says nothing.
    bool Passes(const base::Result<void> &checked);
    TransferFailure FailureOf(CURLcode code) const;
    std::optional<std::chrono::milliseconds> AfterFailure();

    const TransferOrder m_order;
    const std::uint64_t m_maxBytes;
    const std::filesystem::path m_place; // of the complete file
    std::optional<SharedFile> m_shared;  // nothing: this process alone downloads it
    std::unique_ptr<CachedFile> m_cached;
    bool m_hasTurn = false;
    bool m_goesOn = false; // with bytes of another process
    std::optional<TransferClock::time_point> m_othersMoved;
    TransferFile m_file;              // after m_cached, whose file it may write to
    std::optional<FileCheck> m_check; // of what is stored; nothing when no file is expected
    std::optional<std::uint64_t> m_total;
    std::string m_tag;         // strong tag of what is stored; empty when there is none
    std::string m_tagUrl;      // the address whose tag it is
    std::uint64_t m_seen = 0;  // the most that was ever stored: so many bytes were news
    std::uint64_t m_told = 0;  // of these, taken by TakeNews
    std::uint64_t m_fresh = 0; // m_seen when the tries were last counted afresh
    unsigned m_tries = 0;      // failed ones
    std::minstd_rand m_random;

    // Of the running exchange:
    Body m_body = Body::Unknown;
    bool m_askedForRest = false;
    std::uint64_t m_dropped = 0;
    std::optional<TransferFailure> m_failure;
    long m_status = 0;
    std::uint64_t m_arrived = 0;
    std::uint64_t m_arrivedThen = 0; // m_arrived when the time for a stall began
    TransferClock::time_point m_stallFrom;

    bool m_complete = false;
    bool m_unchanged = false;
    bool m_tooLarge = false;
    std::optional<base::Error> m_mismatch;
    std::string m_sentTag;
    std::optional<std::time_t> m_serverTime;
};

} // namespace delivery
