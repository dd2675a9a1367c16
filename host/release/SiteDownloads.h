// What the extension downloads in one start. When the site has signed releases, the instruction file and the packages
// come from its release and nothing else is fetched; otherwise they come from where the extension says.
//
// The release is brought up to date from the moment this object is made, on another thread; downloads wait for it.
// Main thread; callbacks as those of Transfers.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/Files.h"
#include "delivery/page/Page.h"
#include "delivery/transfer/Transfers.h"
#include "host/release/ReleaseSession.h"
#include "host/release/TargetDownload.h"

namespace lumhost {

class SiteDownloads {
public:
    using Id = delivery::Transfers::Id;

    // What the start is told besides; either may be empty.
    struct Listener {
        std::function<void(const std::string &text)> notice;
        std::function<void(const std::string &release)> inUse; // which release it is
    };

    // `folder`: where the instruction file is put when it need not be fetched. `wake` asks the main thread for a
    // Deliver, on any thread. `transfers` must outlive this.
    SiteDownloads(const delivery::Page &page, const Pins &pins, std::filesystem::path folder,
                  delivery::Transfers &transfers, std::function<void()> wake, Listener listener);
    ~SiteDownloads();
    SiteDownloads(const SiteDownloads &) = delete;
    SiteDownloads &operator=(const SiteDownloads &) = delete;

    // `asked` is the address as the extension gave it, `address` the same made absolute; nothing when it may not be
    // used, which fails. A result with a mismatch is a refusal: its error is a sentence of its own. `known`: what the
    // instruction file says about the file; a release says it itself.
    Id Get(const std::string &asked, const std::optional<base::Url> &address, delivery::Transfers::Progress progress,
           delivery::Transfers::Done done, delivery::KnownFile known = {});
    // No callback of it after this has returned.
    void Cancel(Id id);
    // Runs the callbacks that are due, those of `transfers` included.
    void Deliver();

private:
    enum class State { Unsigned, Waiting, Signed, Refused };

    struct Job {
        std::string name; // of the target; empty for an address outside of the release
        std::optional<base::Url> address;
        delivery::Transfers::Progress progress;
        delivery::Transfers::Done done;
        delivery::KnownFile known;
        std::optional<Id> transfer; // of an unsigned one
        std::unique_ptr<TargetDownload> target;
    };

    std::string NameOf(const std::string &asked) const;
    void Begin(Id id);
    void Fetch(Id id);
    void Fail(Id id, const base::Error &refusal);
    void End(Id id, const delivery::TransferResult &result);
    void Settle(const base::Result<ReleaseSession::Settled> &settled);
    void Take(const ReleaseSession::Found &found);
    void TakeTarget(Id id, const ReleaseSession::Found &found);
    void HandOver(Id id, const std::string &bytes);
    void Later(std::function<void()> task);

    delivery::Transfers &m_transfers;
    const std::filesystem::path m_folder;
    const std::function<void()> m_wake;
    const Listener m_listener;
    std::string m_root; // "LumUrlRoot" with "/" at its end, as the extension writes it
    std::string m_site;

    State m_state = State::Unsigned;
    base::Error m_refusal;
    TargetSources m_sources;
    std::map<Id, Job> m_jobs;
    Id m_lastId = 0;
    std::vector<std::function<void()>> m_later; // at the next Deliver
    bool m_delivering = false;
    std::unique_ptr<ReleaseSession> m_session; // goes first
};

} // namespace lumhost
