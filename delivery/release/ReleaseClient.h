// The client of a signed release (The Update Framework 1.0.34, 5): brings the trusted metadata of one site up to date,
// and tells what a target must look like and where it is.
//
//     ReleaseClient::Pin(folder, root);                      once: this root is trusted
//     ReleaseClient client(folder, fetcher);
//     if (auto fresh = client.Refresh(now); !fresh) ...      Refresh, or Recall when there is no network
//     auto target = client.Find("lummac.ini");               address, length, hashes
//     FileCheck check(target->path, target->facts);          fed while the target arrives
//
// Every failure is a ReleaseFault with a text that names the file, the cause and who has to do what. What was trusted
// before stays trusted and saved, as does each file that was accepted before the one that was refused. Blocks for
// network and disk, so not for a main thread. One thread at a time for one object; several objects and processes may
// share a folder.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "delivery/release/ReleaseFetcher.h"
#include "delivery/release/ReleaseStore.h"
#include "delivery/release/TrustedRelease.h"

namespace delivery {

// Bytes of a file at most, unless the release lists a smaller length, and how far to walk.
struct ReleaseLimits {
    std::uint64_t root = 512'000;
    std::uint64_t timestamp = 16'384;
    std::uint64_t snapshot = 2'000'000;
    std::uint64_t targets = 5'000'000;
    unsigned roots = 256; // new versions in one refresh
    unsigned roles = 64;  // in the search for one target
};

struct ReleaseTarget {
    std::string path;    // its name in the release
    std::string address; // below the address of the release's targets, percent-encoded; holds a hash where the site
                         // keeps consistent snapshots
    FileFacts facts;     // always with length and a hash that FileCheck knows
    Json::Value custom;  // what the site says about it: an object, or null
};

class ReleaseClient {
public:
    // `fetcher` must outlive the object.
    ReleaseClient(std::filesystem::path folder, ReleaseFetcher &fetcher, ReleaseLimits limits = {})
        : m_store(std::move(folder)), m_fetcher(fetcher), m_limits(limits) {}

    // Trusts this root from now on, and forgets all that the folder holds of a release. Fails, and forgets nothing,
    // when it is not a root that its own keys have signed.
    static base::Result<void> Pin(const std::filesystem::path &folder, std::string_view root);

    // Brings root, timestamp, snapshot and targets up to date. `now` is compared with every expiry, also by Find.
    base::Result<void> Refresh(ReleaseTime now);
    // Takes what is saved, without network: good as long as nothing of it has expired. Find then fails with
    // ReleaseFault::Unreachable where it would have to fetch.
    base::Result<void> Recall(ReleaseTime now);

    // After a successful Refresh or Recall. NotInRelease when no role that may speak of this path lists it.
    base::Result<ReleaseTarget> Find(const std::string &path);

    // What is trusted, of which the parts can be missing after a failure. Null before the first Refresh or Recall.
    const TrustedRelease *trusted() const {
        return m_trusted ? &*m_trusted : nullptr;
    }

private:
    enum class Network { Use, Avoid };

    base::Result<void> Update(ReleaseTime now, Network network);
    void ReadSaved();
    base::Result<void> UpdateRoot();
    base::Result<void> TakeRoots();
    base::Result<void> ForgetWithdrawn();
    base::Result<void> UpdateTimestamp();
    base::Result<void> UpdateSnapshot();
    base::Result<void> UpdateTargets(const std::string &role, const std::string &delegator);
    base::Result<std::string> Fetch(const std::string &name, std::uint64_t maxLength, std::string_view saved = {});
    base::Result<std::string> FetchListed(const std::string &role, const ListedFile &listed, std::uint64_t limit);
    base::Result<void> SaveTimestamp(std::string_view bytes);
    base::Result<ReleaseTarget> Describe(const std::string &path, const ListedTarget &target) const;

    ReleaseStore m_store;
    ReleaseFetcher &m_fetcher;
    ReleaseLimits m_limits;
    Network m_network = Network::Use;
    std::map<std::string, std::optional<std::string>> m_saved; // at the start of an update
    std::optional<TrustedRelease> m_trusted;
    bool m_ready = false; // all four top-level roles are up to date
};

} // namespace delivery
