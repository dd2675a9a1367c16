#include "delivery/transfer/Download.h"

#include <algorithm>

#include "base/Digest.h"
#include "base/Disk.h"
#include "base/Text.h"

namespace delivery {

namespace {

constexpr std::uint64_t kDroppedBody = 1 << 16;
constexpr std::uint64_t kFreshStart = 1 << 20;
constexpr std::chrono::milliseconds kLookAgain{100}; // for another process' download

} // namespace

std::chrono::milliseconds RetryPause(const TransferSettings &settings, unsigned tries, std::minstd_rand &random) {
    std::chrono::milliseconds pause = settings.firstPause;
    for (unsigned i = 1; i < tries && pause < settings.longestPause; ++i) {
        pause *= 2;
    }
    pause = std::min(pause, settings.longestPause);
    // Somewhere in the upper half, so that many visitors of a site that failed do not come back all at once.
    return pause - std::chrono::milliseconds(std::uniform_int_distribution<std::int64_t>(0, pause.count() / 2)(random));
}

Download::Download(const TransferRules &rules, base::Url url, std::filesystem::path file, TransferOrder order,
                   std::optional<SharedFile> shared)
    : Exchange(rules, std::move(url)), m_order(std::move(order)),
      m_maxBytes(std::min(m_order.maxBytes, rules.settings.maxBytes)), m_place(file), m_shared(std::move(shared)),
      // Now, while the file is not installed: who waits in line does not find later that the others have removed it.
      m_cached(m_shared ? CachedFile::Join(m_shared->folder, m_shared->name) : nullptr), m_file(std::move(file)),
      m_random(std::random_device{}()) {}

std::optional<std::chrono::milliseconds> Download::WaitForOthers(TransferClock::time_point now) {
    if (!m_cached || m_hasTurn) {
        return std::nullopt;
    }
    m_othersMoved = m_othersMoved.value_or(now);
    switch (m_cached->Look()) {
    case CachedFile::Turn::Mine:
        TakeTurn();
        return IsOver() ? std::optional(std::chrono::milliseconds(0)) : std::nullopt;
    case CachedFile::Turn::Complete:
        m_seen = std::max(m_seen, m_cached->size());
        Complete();
        return std::chrono::milliseconds(0);
    case CachedFile::Turn::Others:
        break;
    }
    if (m_cached->size() > m_seen) {
        m_seen = m_cached->size();
        m_othersMoved = now;
    } else if (now - *m_othersMoved >= rules().settings.stallTimeout) {
        m_shared.reset();
        m_cached.reset();
        m_fresh = m_seen;
        return std::nullopt;
    }
    return kLookAgain;
}

// Goes on with what another process has left, or begins.
void Download::TakeTurn() {
    m_hasTurn = true;
    const std::optional<CachedFile::Origin> origin = m_cached->origin();
    const std::uint64_t size = origin ? m_cached->size() : 0;
    if (size > 0) {
        m_tag = origin->tag;
        m_tagUrl = origin->address;
        m_total = origin->total;
        m_goesOn = true;
    }
    if (const int error = m_file.GoOnWith(m_cached->path(), m_cached->descriptor(), size)) {
        Fail(DiskFailure(url(), error));
        return;
    }
    m_seen = std::max(m_seen, size);
    m_fresh = m_seen;
    if (m_goesOn && m_total == size && HasDigest()) { // its process was killed just then
        Complete();
    }
}

bool Download::IsTagOf(const std::string &address) const {
    const auto file = [this](const std::string &text) { return m_shared ? text.substr(0, text.find('?')) : text; };
    return file(m_tagUrl) == file(address);
}

bool Download::HasDigest() const {
    const KnownFile &known = m_shared->known;
    const auto digest = base::DigestOfFile(m_file.path(), known.method == "sha1" ? base::DigestMethod::Sha1
                                                                                 : base::DigestMethod::Sha256);
    return !digest || *digest == base::Lower(known.digest);
}

void Download::Complete() {
    if (m_hasTurn) {
        m_cached->Complete();
    }
    if (const auto given = m_cached ? m_cached->Give(m_place) : base::Result<void>(); !given) {
        m_failure = DiskFailure(url(), given.error().code);
        return;
    }
    m_complete = true;
}

std::unique_ptr<CachedFile> Download::TakeCached() {
    return m_complete ? std::move(m_cached) : nullptr;
}

void Download::Begin(TransferClock::time_point now) {
    m_body = Body::Unknown;
    m_askedForRest = CanResume();
    m_dropped = 0;
    m_failure.reset();
    m_arrived = m_arrivedThen = 0;
    m_stallFrom = now;
    Exchange::Begin(now);
}

curl_slist *Download::AddHeaders(curl_slist *headers) {
    if (!m_order.knownTag.empty()) {
        headers = curl_slist_append(headers, ("If-None-Match: " + m_order.knownTag).c_str());
    }
    if (!m_askedForRest) {
        return headers;
    }
    headers = curl_slist_append(headers, ("Range: bytes=" + std::to_string(m_file.size()) + "-").c_str());
    return curl_slist_append(headers, ("If-Range: " + m_tag).c_str());
}

bool Download::Fail(TransferFailure failure) {
    m_failure = std::move(failure);
    return false;
}

bool Download::Passes(const base::Result<void> &checked) {
    if (!checked) {
        m_mismatch = checked.error();
        Fail(OtherFile(url(), checked.error().text));
    }
    return checked.has_value();
}

void Download::StartOver() {
    m_tag.clear();
    m_total.reset();
    m_goesOn = false;
    if (m_cached) {
        m_cached->SetOrigin({});
    }
    if (m_order.expected) {
        m_check.emplace(m_order.expected->name, m_order.expected->facts);
    }
    if (const int error = m_file.Restart()) {
        Fail(DiskFailure(url(), error));
    }
}

void Download::Judge() {
    const ReplyHead reply = ReadReplyHead(handle());
    m_status = reply.status;
    m_serverTime = reply.date;
    m_body = Body::Drop;
    if (IsRedirect(reply.status)) {
        return;
    }
    if (reply.status == 200) {
        JudgeWhole(reply);
    } else if (reply.status == 206) {
        JudgeRest(reply);
    } else if (reply.status == 304 && !m_order.knownTag.empty()) {
        m_unchanged = true;
    } else if (reply.status == 416 && m_askedForRest) {
        Fail(OddReply(url(), "the rest of the file is not there (status 416)"));
        StartOver();
    } else {
        Fail(StatusFailure(url(), reply, AnsweringProxy()));
    }
}

void Download::JudgeWhole(const ReplyHead &reply) {
    StartOver();
    if (m_failure) {
        return;
    }
    if (m_check && reply.length && !Passes(m_check->Announce(*reply.length))) {
        return;
    }
    m_total = reply.length;
    if (!m_total && m_order.expected) {
        m_total = m_order.expected->facts.length;
    }
    m_tag = reply.strongTag;
    m_sentTag = reply.tag;
    m_tagUrl = url().text();
    if (KeepsPart()) {
        m_cached->SetOrigin(CachedFile::Origin{m_tag, m_tagUrl, m_total});
    }
    m_body = Body::Store;
    CheckRoom();
}

void Download::JudgeRest(const ReplyHead &reply) {
    const std::optional<ContentRange> &range = reply.range;
    const std::uint64_t end = !range ? 0 : range->total.value_or(range->last + 1); // "*": the rest was asked for
    const bool fits = m_askedForRest && range && range->first == m_file.size() && IsTagOf(url().text()) &&
                      (reply.strongTag.empty() || reply.strongTag == m_tag) && (!m_total || *m_total == end) &&
                      (!reply.length || *reply.length == range->last - range->first + 1);
    if (!fits) {
        Fail(OddReply(url(), "another part of the file than the one asked for"));
        StartOver();
        return;
    }
    m_total = end;
    m_body = Body::Store;
    CheckRoom();
}

void Download::CheckRoom() {
    if (m_total && *m_total > m_maxBytes) {
        m_tooLarge = true;
        Fail(TooLarge(url(), m_maxBytes));
    } else if (m_total && *m_total - m_file.size() > base::FreeSpace(m_file.path().parent_path())) {
        Fail(NoRoom(url(), *m_total));
    }
}

bool Download::Receive(const char *data, std::size_t size) {
    if (m_body == Body::Unknown) {
        Judge();
    }
    if (m_failure && !m_failure->transient) {
        return false;
    }
    m_arrived += size;
    if (m_body == Body::Drop) {
        // A short text beside an error or a redirect is read to its end, so that the connection can be used again.
        m_dropped += size;
        return m_dropped <= kDroppedBody;
    }
    if (size > m_maxBytes - m_file.size()) {
        StartOver();
        m_tooLarge = true;
        return Fail(TooLarge(url(), m_maxBytes));
    }
    if (m_check && !Passes(m_check->Add({data, size}))) {
        return false;
    }
    if (m_total && size > *m_total - m_file.size()) {
        Fail(OddReply(url(), "more bytes than it announced"));
        StartOver();
        return false;
    }
    if (const int error = m_file.Write(data, size)) {
        return Fail(DiskFailure(url(), error));
    }
    m_seen = std::max(m_seen, m_file.size());
    return true;
}

bool Download::Overdue(TransferClock::time_point now) {
    const TransferSettings &settings = rules().settings;
    if (now - m_stallFrom < settings.stallTimeout) {
        return false;
    }
    if (m_arrived - m_arrivedThen >= settings.stallBytes) {
        m_arrivedThen = m_arrived;
        m_stallFrom = now;
        return false;
    }
    if (!m_failure) {
        Fail(Stalled(url()));
    }
    return true;
}

std::optional<std::chrono::milliseconds> Download::End(CURLcode code) {
    if (m_body == Body::Unknown && code == CURLE_OK) { // a reply without a body
        Judge();
    }
    if (m_failure) {
        return AfterFailure();
    }
    if (m_body == Body::Drop && IsRedirect(m_status)) {
        if (const auto refusal = FollowRedirect()) {
            m_failure = RedirectFailure(url(), *refusal);
            return AfterFailure();
        }
        return std::chrono::milliseconds(0);
    }
    if (code != CURLE_OK) {
        Fail(FailureOf(code));
        return AfterFailure();
    }
    if (m_unchanged) {
        return std::nullopt;
    }
    if (m_total && m_file.size() != *m_total) { // a part that ended early, but as announced
        Fail(ExchangeFailure(url(), CURLE_PARTIAL_FILE, {}));
        return AfterFailure();
    }
    if (m_check && !Passes(m_check->Finish())) {
        return AfterFailure();
    }
    if (const int error = m_file.Keep()) {
        Fail(DiskFailure(url(), error));
        return std::nullopt;
    }
    if (m_goesOn && !HasDigest()) {
        Fail(OddReply(url(), "the rest of another file than the one that was begun"));
        StartOver();
        return AfterFailure();
    }
    Complete();
    return std::nullopt;
}

TransferFailure Download::FailureOf(CURLcode code) const {
    if (const auto failure = FailureOfProxy(code)) {
        return *failure;
    }
    curl_off_t connected = 0;
    curl_easy_getinfo(handle(), CURLINFO_PRETRANSFER_TIME_T, &connected);
    // curl says that memory is out when a head is longer than it takes.
    if (code == CURLE_OUT_OF_MEMORY && connected > 0 && m_body == Body::Unknown) {
        return EndlessHead(url());
    }
    return ExchangeFailure(url(), code, ErrorDetail());
}

std::optional<std::chrono::milliseconds> Download::AfterFailure() {
    const TransferSettings &settings = rules().settings;
    if (!m_failure->transient) {
        return std::nullopt;
    }
    if (m_seen - m_fresh >= kFreshStart) {
        m_fresh = m_seen;
        m_tries = 0;
    }
    if (++m_tries > m_order.retries.value_or(settings.retries)) {
        return std::nullopt;
    }
    ForgetRedirects();
    const auto pause = RetryPause(settings, m_tries, m_random);
    const auto asked = m_failure->retryAfter.value_or(std::chrono::milliseconds(0));
    return std::max(pause, std::min(asked, settings.longestRetryAfter));
}

std::uint64_t Download::TakeNews() {
    const std::uint64_t news = m_seen - m_told;
    m_told = m_seen;
    return news;
}

TransferResult Download::result() const {
    TransferResult result;
    result.ok = m_complete || m_unchanged;
    result.httpStatus = m_status;
    result.address = url().text();
    result.serverTime = m_serverTime;
    if (result.ok) {
        result.file = m_complete ? m_place : std::filesystem::path();
        result.unchanged = m_unchanged;
        result.tag = m_sentTag;
        return result;
    }
    result.error = m_failure ? m_failure->Text() : std::string();
    result.cause = m_failure ? m_failure->cause : std::string();
    result.tooLarge = m_tooLarge;
    result.mismatch = m_mismatch;
    return result;
}

} // namespace delivery
