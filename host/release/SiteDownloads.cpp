#include "host/release/SiteDownloads.h"

#include <utility>

#include "base/Files.h"
#include "base/Text.h"
#include "delivery/release/ReleaseFault.h"
#include "delivery/release/ReleaseLayout.h"

namespace lumhost {

namespace {

// What the extension adds so that no cache answers.
constexpr std::string_view kRandom = "?random=";

delivery::TransferResult Refused(const base::Error &refusal) {
    delivery::TransferResult result;
    result.error = result.cause = refusal.text;
    result.mismatch = refusal;
    return result;
}

} // namespace

SiteDownloads::SiteDownloads(const delivery::Page &page, const Pins &pins, std::filesystem::path folder,
                             delivery::Transfers &transfers, std::function<void()> wake, Listener listener)
    : m_transfers(transfers), m_folder(std::move(folder)), m_wake(std::move(wake)), m_listener(std::move(listener)) {
    const std::string *root = page.Find("LumUrlRoot");
    const std::optional<base::Url> url = root ? page.Resolve(*root) : std::nullopt;
    if (!url) {
        return; // nothing can be downloaded
    }
    m_root = *root + (root->ends_with('/') ? "" : "/");
    m_site = url->Origin();
    base::Result<std::optional<Pin>> pin = pins.Find(m_site);
    if (pin && !*pin && page.address() && page.address()->Origin() != m_site) {
        // Otherwise a page of a pinned site could be made to name another place.
        pin = pins.Find(page.address()->Origin());
        m_site = pin && *pin ? (*pin)->site : m_site;
    }
    if (!pin) {
        m_state = State::Refused;
        m_refusal = pin.error();
        return;
    }
    const std::optional<base::Url> metadata = page.Resolve(m_root + delivery::kReleaseFolder);
    const std::optional<base::Url> targets = page.Resolve(m_root + delivery::kReleaseTargetsFolder);
    if ((*pin || url->secure()) && metadata && targets) {
        m_state = State::Waiting;
        m_session = std::make_unique<ReleaseSession>(ReleaseSession::Place{m_site, metadata->text(), targets->text()},
                                                     pins, *pin, transfers, m_wake);
    }
}

SiteDownloads::~SiteDownloads() {
    while (!m_jobs.empty()) {
        Cancel(m_jobs.begin()->first);
    }
}

std::string SiteDownloads::NameOf(const std::string &asked) const {
    if (!asked.starts_with(m_root)) {
        return "";
    }
    return asked.substr(m_root.size(), asked.rfind(kRandom) - m_root.size());
}

SiteDownloads::Id SiteDownloads::Get(const std::string &asked, const std::optional<base::Url> &address,
                                     delivery::Transfers::Progress progress, delivery::Transfers::Done done,
                                     delivery::KnownFile known) {
    const Id id = ++m_lastId;
    m_jobs[id] = {NameOf(asked), address, std::move(progress), std::move(done), std::move(known), {}, nullptr};
    if (m_state != State::Waiting) {
        Begin(id);
    }
    return id;
}

void SiteDownloads::Cancel(Id id) {
    const auto job = m_jobs.extract(id);
    if (!job.empty() && job.mapped().transfer) {
        m_transfers.Cancel(*job.mapped().transfer);
    }
}

void SiteDownloads::Later(std::function<void()> task) {
    m_later.push_back(std::move(task));
    m_wake();
}

void SiteDownloads::Begin(Id id) {
    const Job &job = m_jobs.at(id);
    if (m_state == State::Unsigned || !job.address) {
        Fetch(id);
    } else if (m_state == State::Refused) {
        Later([this, id] { Fail(id, m_refusal); });
    } else if (job.name.empty()) {
        const base::Error error{"nothing is fetched from " + job.address->Origin() + " but what the release of " +
                                    m_site + " lists, which lies below the page's LumUrlRoot",
                                static_cast<int>(delivery::ReleaseFault::NotInRelease)};
        Later([this, id, error] { Fail(id, error); });
    } else {
        m_session->Find(job.name);
    }
}

void SiteDownloads::Fetch(Id id) {
    Job &job = m_jobs.at(id);
    job.transfer =
        m_transfers.Get(job.address ? job.address->text() : "", job.progress,
                        [this, id](const delivery::TransferResult &result) { End(id, result); }, {.known = job.known});
}

void SiteDownloads::End(Id id, const delivery::TransferResult &result) {
    const auto job = m_jobs.extract(id);
    if (!job.empty()) {
        job.mapped().done(result);
    }
}

void SiteDownloads::Fail(Id id, const base::Error &refusal) {
    End(id, Refused(refusal));
}

void SiteDownloads::Deliver() {
    if (std::exchange(m_delivering, true)) { // within a callback
        m_transfers.Deliver();
        return;
    }
    for (const auto &task : std::exchange(m_later, {})) {
        task();
    }
    if (m_session) {
        const ReleaseSession::News news = m_session->Collect();
        if (news.settled) {
            Settle(*news.settled);
        }
        for (const ReleaseSession::Found &found : news.found) {
            Take(found);
        }
    }
    if (m_state == State::Signed && !m_sources.AreKnown()) {
        for (const auto &[id, job] : m_jobs) {
            if (job.target) { // the first; the others wait for what it finds out
                job.target->Hurry(TargetDownload::Clock::now());
                break;
            }
        }
    }
    m_transfers.Deliver();
    m_delivering = false;
}

void SiteDownloads::Settle(const base::Result<ReleaseSession::Settled> &settled) {
    m_state = !settled ? State::Refused : settled->isSigned ? State::Signed : State::Unsigned;
    if (!settled) {
        m_refusal = settled.error();
    } else {
        m_sources.Set(settled->sources);
        for (const std::string &notice : settled->notices) {
            m_listener.notice(notice);
        }
        if (settled->isSigned) {
            m_listener.inUse(settled->inUse);
        }
    }
    std::vector<Id> waiting;
    for (const auto &[id, job] : m_jobs) {
        waiting.push_back(id);
    }
    for (const Id id : waiting) {
        Begin(id);
    }
}

void SiteDownloads::Take(const ReleaseSession::Found &found) {
    std::vector<Id> asking; // one name may have been asked for twice
    for (const auto &[id, job] : m_jobs) {
        if (job.name == found.name && !job.target) {
            asking.push_back(id);
        }
    }
    for (const Id id : asking) {
        if (m_jobs.contains(id)) { // a callback may have cancelled it
            TakeTarget(id, found);
        }
    }
}

void SiteDownloads::TakeTarget(Id id, const ReleaseSession::Found &found) {
    if (!found.target) {
        Fail(id, found.target.error());
        return;
    }
    if (found.saved) {
        HandOver(id, *found.saved);
        return;
    }
    Job &job = m_jobs.at(id);
    job.target = std::make_unique<TargetDownload>(
        m_transfers, m_sources, *found.target, job.progress,
        [this, id, name = found.name, length = *found.target->facts.length](const delivery::TransferResult &result) {
            if (result.mismatch) {
                Fail(id, {"the release of " + m_site + " is refused: " + result.mismatch->text +
                              ". Tell the operator of the site.",
                          result.mismatch->code});
                return;
            }
            if (result.ok && name == kInstructions) {
                if (base::Result<std::string> bytes = base::ReadWhole(result.file, length)) {
                    m_session->Keep(std::move(*bytes));
                }
            }
            End(id, result);
        });
}

void SiteDownloads::HandOver(Id id, const std::string &bytes) {
    base::Result<base::StagedFile> copy = base::StagedFile::Make(m_folder);
    if (const base::Result<void> written =
            copy ? base::WriteAll(copy->descriptor(), bytes) : base::Result<void>(base::Fail(copy.error()));
        !written) {
        Fail(id, {"the instruction file cannot be stored: " + written.error().text,
                  static_cast<int>(delivery::ReleaseFault::Storage)});
        return;
    }
    delivery::TransferResult result;
    result.ok = true;
    result.file = copy->path();
    result.address = m_jobs.at(id).address->text();
    End(id, result);
}

} // namespace lumhost
