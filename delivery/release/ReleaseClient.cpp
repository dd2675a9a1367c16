#include "delivery/release/ReleaseClient.h"

#include <algorithm>
#include <set>
#include <vector>

#include "base/Text.h"
#include "delivery/release/ReleaseFault.h"
#include "delivery/release/ReleaseLayout.h"

namespace delivery {

namespace {

constexpr char kRoot[] = "root";
constexpr char kTimestamp[] = "timestamp";
constexpr char kSnapshot[] = "snapshot";
constexpr char kTargets[] = "targets";

struct Visit {
    std::string role;
    std::string delegator;
};

bool IsTopLevel(const std::string &role) {
    return role == kRoot || role == kTimestamp || role == kSnapshot || role == kTargets;
}

std::string Encoded(const std::string &path) {
    std::string encoded;
    std::string_view rest = path;
    for (std::size_t slash = rest.find('/'); slash != std::string_view::npos; slash = rest.find('/')) {
        encoded += base::PercentEncode(rest.substr(0, slash)) + '/';
        rest.remove_prefix(slash + 1);
    }
    return encoded + base::PercentEncode(rest);
}

// Puts the delegations that cover the path on the stack, so that the first is met first.
void AddDelegations(const Targets &targets, const std::string &role, const std::string &path,
                    std::vector<Visit> &next) {
    std::vector<Visit> found;
    for (const Delegation &delegation : targets.delegations) {
        if (!delegation.Covers(path)) {
            continue;
        }
        found.push_back({delegation.role, role});
        if (delegation.terminating) {
            next.clear();
            break;
        }
    }
    next.insert(next.end(), found.rbegin(), found.rend());
}

} // namespace

base::Result<void> ReleaseClient::Pin(const std::filesystem::path &folder, std::string_view root) {
    TrustedRelease trusted{ReleaseTime{}};
    if (base::Result<void> good = trusted.StartFrom(root); !good) {
        return good;
    }
    return ReleaseStore(folder).StartOver(root);
}

base::Result<void> ReleaseClient::Refresh(ReleaseTime now) {
    return Update(now, Network::Use);
}

base::Result<void> ReleaseClient::Recall(ReleaseTime now) {
    return Update(now, Network::Avoid);
}

base::Result<void> ReleaseClient::Update(ReleaseTime now, Network network) {
    m_network = network;
    m_ready = false;
    m_trusted.emplace(now);
    ReadSaved();
    return UpdateRoot()
        .and_then([&] { return UpdateTimestamp(); })
        .and_then([&] { return UpdateSnapshot(); })
        .and_then([&] { return UpdateTargets(kTargets, kRoot); })
        .map([&] { m_ready = true; });
}

base::Result<std::string> ReleaseClient::Fetch(const std::string &name, std::uint64_t maxLength,
                                               std::string_view saved) {
    if (m_network == Network::Avoid) {
        return Refuse(ReleaseFault::Unreachable, "no valid " + name + " is saved; connect to the network");
    }
    base::Result<std::string> bytes = m_fetcher.Fetch(name, maxLength, saved);
    if (bytes && bytes->size() > maxLength) {
        return Refuse(ReleaseFault::TooLong, name + " is longer than " + base::HumanBytes(maxLength) +
                                                 "; the site has to publish its release again");
    }
    return bytes;
}

base::Result<std::string> ReleaseClient::FetchListed(const std::string &role, const ListedFile &listed,
                                                     std::uint64_t limit) {
    const std::uint64_t version = m_trusted->root()->consistentSnapshot ? listed.version : 0;
    return Fetch(MetadataFileName(role, version), std::min(listed.facts.length.value_or(limit), limit));
}

// All at once: what another process saves while this one is at work must not count as accepted before.
void ReleaseClient::ReadSaved() {
    for (const char *role : {kRoot, kTimestamp, kSnapshot}) {
        m_saved[role] = m_store.Read(role);
    }
}

base::Result<void> ReleaseClient::UpdateRoot() {
    const std::optional<std::string> &saved = m_saved[kRoot];
    if (!saved) {
        return Refuse(ReleaseFault::NoRoot,
                      "no trusted root of this site is saved; allow the site with its root first");
    }
    return m_trusted->StartFrom(*saved)
        .and_then([&] { return m_network == Network::Use ? TakeRoots() : base::Result<void>(); })
        .and_then([&] { return m_trusted->CheckRoot(); });
}

base::Result<void> ReleaseClient::TakeRoots() {
    for (unsigned taken = 0; taken < m_limits.roots; ++taken) {
        const std::uint64_t next = m_trusted->root()->head.version + 1;
        const base::Result<std::string> bytes = Fetch(MetadataFileName(kRoot, next), m_limits.root);
        if (!bytes && FaultOf(bytes.error()) == ReleaseFault::NotFound) {
            return {};
        }
        if (!bytes) {
            return base::Fail(bytes.error());
        }
        const base::Result<void> saved =
            m_trusted->TakeNextRoot(*bytes)
                .and_then([&] { return ForgetWithdrawn(); }) // before: a kill in between must not leave them for good
                .and_then([&] { return m_store.Save(kRoot, kRoot, *bytes); });
        if (!saved) {
            return saved;
        }
    }
    return {};
}

base::Result<void> ReleaseClient::ForgetWithdrawn() {
    if (!m_trusted->KeysWithdrawn()) {
        return {};
    }
    m_saved.erase(kTimestamp);
    m_saved.erase(kSnapshot);
    return m_store.Forget(kTimestamp).and_then([&] { return m_store.Forget(kSnapshot); });
}

base::Result<void> ReleaseClient::UpdateTimestamp() {
    const std::optional<std::string> &saved = m_saved[kTimestamp];
    if (saved) {
        m_trusted->RecallTimestamp(*saved);
    }
    if (m_network == Network::Use || !m_trusted->timestamp()) {
        const base::Result<std::string> bytes =
            Fetch(MetadataFileName(kTimestamp), m_limits.timestamp, saved.value_or(""));
        if (!bytes) {
            return base::Fail(bytes.error());
        }
        const base::Result<bool> isNew = m_trusted->TakeTimestamp(*bytes);
        if (!isNew) {
            return base::Fail(isNew.error());
        }
        if (*isNew) {
            return SaveTimestamp(*bytes);
        }
    }
    return m_trusted->CheckTimestamp();
}

base::Result<void> ReleaseClient::SaveTimestamp(std::string_view bytes) {
    const std::uint64_t version = m_trusted->timestamp()->head.version;
    return m_store.Save(kTimestamp, kRoot, bytes, [&](std::string_view present) {
        return m_trusted->SignedTimestampVersion(present).value_or(0) > version;
    });
}

base::Result<void> ReleaseClient::UpdateSnapshot() {
    const std::optional<std::string> &saved = m_saved[kSnapshot];
    if (saved && m_trusted->RecallSnapshot(*saved)) {
        return {};
    }
    const ListedFile listed = m_trusted->timestamp()->snapshot;
    const base::Result<std::string> bytes = FetchListed(kSnapshot, listed, m_limits.snapshot);
    if (!bytes) {
        return base::Fail(bytes.error());
    }
    return m_trusted->TakeSnapshot(*bytes).and_then([&] { return m_store.Save(kSnapshot, kTimestamp, *bytes); });
}

base::Result<void> ReleaseClient::UpdateTargets(const std::string &role, const std::string &delegator) {
    if (m_trusted->targets(role)) {
        return m_trusted->CheckDelegator(role, delegator);
    }
    const base::Result<ListedFile> listed = m_trusted->Listed(role);
    if (!listed) {
        return base::Fail(listed.error());
    }
    const std::optional<std::string> saved = m_store.Read(role);
    if (saved && m_trusted->TakeTargets(role, delegator, *saved)) {
        return {};
    }
    const base::Result<std::string> bytes = FetchListed(role, *listed, m_limits.targets);
    if (!bytes) {
        return base::Fail(bytes.error());
    }
    return m_trusted->TakeTargets(role, delegator, *bytes).and_then([&] {
        return m_store.Save(role, kSnapshot, *bytes);
    });
}

base::Result<ReleaseTarget> ReleaseClient::Find(const std::string &path) {
    if (!m_ready) {
        return Refuse(ReleaseFault::NotInRelease, "the release of the site is not up to date");
    }
    std::vector<Visit> next = {{kTargets, kRoot}};
    std::set<std::string> visited;
    while (!next.empty() && visited.size() < m_limits.roles) {
        const Visit visit = next.back();
        next.pop_back();
        if (!visited.insert(visit.role).second) {
            continue;
        }
        if (visit.role != kTargets && IsTopLevel(visit.role)) {
            return Refuse(ReleaseFault::Malformed, base::OneLine(visit.delegator) +
                                                       ".json delegates to a role named \"" + visit.role +
                                                       "\", which is reserved; the site has to rename it");
        }
        if (base::Result<void> taken = UpdateTargets(visit.role, visit.delegator); !taken) {
            return base::Fail(taken.error());
        }
        const Targets &targets = *m_trusted->targets(visit.role);
        if (const auto found = targets.targets.find(path); found != targets.targets.end()) {
            return Describe(path, found->second);
        }
        AddDelegations(targets, visit.role, path, next);
    }
    return Refuse(ReleaseFault::NotInRelease,
                  base::Quoted(path) + " is not in the release of the site" +
                      (next.empty() ? "" : ", as far as " + std::to_string(visited.size()) + " roles tell") +
                      "; the site has to publish it");
}

base::Result<ReleaseTarget> ReleaseClient::Describe(const std::string &path, const ListedTarget &target) const {
    const FileHashes &hashes = target.facts.hashes;
    const auto hash = hashes.count("sha256") ? hashes.find("sha256") : hashes.find("sha512");
    if (hash == hashes.end()) {
        return Refuse(ReleaseFault::Mismatch, "the release lists no hash of " + base::Quoted(path) +
                                                  " that this program knows (sha256, sha512); update the program");
    }
    const bool isHashed = m_trusted->root()->consistentSnapshot;
    return ReleaseTarget{path, Encoded(isHashed ? HashedPath(path, hash->second) : path), target.facts, target.custom};
}

} // namespace delivery
