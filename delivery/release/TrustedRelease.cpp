#include "delivery/release/TrustedRelease.h"

#include <algorithm>

#include "base/Text.h"
#include "delivery/release/ReleaseFault.h"
#include "delivery/release/Signatures.h"

namespace delivery {

namespace {

constexpr char kRoot[] = "root";
constexpr char kPublishAgain[] = "; the site has to publish its release again";
constexpr char kOlderServed[] =
    "; the site serves an older release, or somebody replays one: the site has to publish a newer one";

std::string FileOf(const std::string &role) {
    return base::OneLine(role) + ".json";
}

base::Result<void> CheckVersion(const SignedFile &file, const std::string &lister, const ListedFile &listed) {
    if (file.head.version == listed.version) {
        return {};
    }
    return Refuse(ReleaseFault::Mismatch, file.name + " has version " + std::to_string(file.head.version) + ", but " +
                                              lister + " lists version " + std::to_string(listed.version) +
                                              kPublishAgain);
}

auto Older(const std::string &file, std::uint64_t version, std::uint64_t accepted) {
    return Refuse(ReleaseFault::Rollback, file + " has version " + std::to_string(version) + ", older than version " +
                                              std::to_string(accepted) + " that was accepted before" + kOlderServed);
}

bool HasLost(const RoleKeys &before, const RoleKeys &after) {
    return std::any_of(before.keyIds.begin(), before.keyIds.end(), [&](const std::string &id) {
        return std::find(after.keyIds.begin(), after.keyIds.end(), id) == after.keyIds.end();
    });
}

} // namespace

base::Result<void> TrustedRelease::CheckExpiry(const std::string &file, const MetadataHead &head) const {
    if (head.expires > m_start) {
        return {};
    }
    return Refuse(ReleaseFault::Expired,
                  file + " expired on " + ShowTime(head.expires) +
                      "; the site has to renew its release, unless the clock of this computer (" + ShowTime(m_start) +
                      ") is wrong");
}

base::Result<void> TrustedRelease::CheckSigners(const SignedFile &file, const std::string &role,
                                                const std::string &delegator) const {
    if (delegator == kRoot) {
        return CheckSignatures(file, m_root->keys, m_root->roles.at(role), role);
    }
    const Targets *from = targets(delegator);
    if (from) {
        const auto delegation = std::find_if(from->delegations.begin(), from->delegations.end(),
                                             [&](const Delegation &d) { return d.role == role; });
        if (delegation != from->delegations.end()) {
            return CheckSignatures(file, from->keys, delegation->keys, role);
        }
    }
    return Refuse(ReleaseFault::NotSigned,
                  FileOf(delegator) + " does not delegate to the role " + base::Quoted(role) + kPublishAgain);
}

base::Result<SignedFile> TrustedRelease::ReadChecked(MetadataType type, const std::string &role,
                                                     const std::string &delegator, std::string_view bytes) const {
    base::Result<SignedFile> file = ReadSigned(role, type, bytes);
    if (!file) {
        return file;
    }
    if (base::Result<void> checked = CheckSigners(*file, role, delegator); !checked) {
        return base::Fail(checked.error());
    }
    return file;
}

// Root

base::Result<void> TrustedRelease::StartFrom(std::string_view bytes) {
    const base::Result<SignedFile> file = ReadSigned(kRoot, MetadataType::Root, bytes);
    if (!file) {
        return base::Fail(file.error());
    }
    base::Result<Root> root = ReadRoot(*file);
    if (!root) {
        return base::Fail(root.error());
    }
    base::Result<void> checked = CheckSignatures(*file, root->keys, root->roles.at(kRoot), kRoot);
    if (checked) {
        m_root = std::move(*root);
    }
    return checked;
}

base::Result<void> TrustedRelease::TakeNextRoot(std::string_view bytes) {
    const base::Result<SignedFile> file = ReadChecked(MetadataType::Root, kRoot, kRoot, bytes);
    if (!file) {
        return base::Fail(file.error());
    }
    base::Result<Root> root = ReadRoot(*file);
    if (!root) {
        return base::Fail(root.error());
    }
    if (base::Result<void> own = CheckSignatures(*file, root->keys, root->roles.at(kRoot), kRoot); !own) {
        return own;
    }
    if (root->head.version != m_root->head.version + 1) {
        return Refuse(ReleaseFault::Rollback, "the root after version " + std::to_string(m_root->head.version) +
                                                  " has version " + std::to_string(root->head.version) + kPublishAgain);
    }
    for (const MetadataType type : {MetadataType::Timestamp, MetadataType::Snapshot}) {
        m_keysWithdrawn = m_keysWithdrawn || HasLost(m_root->roles.at(NameOf(type)), root->roles.at(NameOf(type)));
    }
    m_root = std::move(*root);
    return {};
}

base::Result<void> TrustedRelease::CheckRoot() const {
    return CheckExpiry(FileOf(kRoot), m_root->head);
}

// Timestamp

void TrustedRelease::RecallTimestamp(std::string_view bytes) {
    const base::Result<SignedFile> file = ReadChecked(MetadataType::Timestamp, "timestamp", kRoot, bytes);
    if (!file) {
        return;
    }
    if (base::Result<Timestamp> timestamp = ReadTimestamp(*file)) {
        m_timestamp = std::move(*timestamp);
    }
}

base::Result<bool> TrustedRelease::TakeTimestamp(std::string_view bytes) {
    const base::Result<SignedFile> file = ReadChecked(MetadataType::Timestamp, "timestamp", kRoot, bytes);
    if (!file) {
        return base::Fail(file.error());
    }
    base::Result<Timestamp> timestamp = ReadTimestamp(*file);
    if (!timestamp) {
        return base::Fail(timestamp.error());
    }
    if (m_timestamp) {
        const MetadataHead &accepted = m_timestamp->head;
        if (timestamp->head.version < accepted.version) {
            return Older(file->name, timestamp->head.version, accepted.version);
        }
        if (timestamp->head.version == accepted.version) {
            return false;
        }
        if (timestamp->snapshot.version < m_timestamp->snapshot.version) {
            return Older("the snapshot.json that " + file->name + " lists", timestamp->snapshot.version,
                         m_timestamp->snapshot.version);
        }
    }
    if (base::Result<void> fresh = CheckExpiry(file->name, timestamp->head); !fresh) {
        return base::Fail(fresh.error());
    }
    m_timestamp = std::move(*timestamp);
    return true;
}

std::optional<std::uint64_t> TrustedRelease::SignedTimestampVersion(std::string_view bytes) const {
    const base::Result<SignedFile> file = ReadChecked(MetadataType::Timestamp, "timestamp", kRoot, bytes);
    return file ? std::optional(file->head.version) : std::nullopt;
}

base::Result<void> TrustedRelease::CheckTimestamp() const {
    return CheckExpiry(FileOf("timestamp"), m_timestamp->head);
}

// Snapshot

bool TrustedRelease::RecallSnapshot(std::string_view bytes) {
    const base::Result<SignedFile> file = ReadChecked(MetadataType::Snapshot, "snapshot", kRoot, bytes);
    if (!file) {
        return false;
    }
    base::Result<Snapshot> snapshot = ReadSnapshot(*file);
    if (!snapshot) {
        return false;
    }
    m_oldSnapshot = *snapshot;
    const ListedFile &listed = m_timestamp->snapshot;
    const bool isCurrent = snapshot->head.version == listed.version && CheckExpiry(file->name, snapshot->head) &&
                           CheckFile(file->name, listed.facts, bytes);
    if (isCurrent) {
        m_snapshot = std::move(*snapshot);
    }
    return isCurrent;
}

base::Result<void> TrustedRelease::CheckSnapshotRollback(const Snapshot &snapshot) const {
    if (!m_oldSnapshot) {
        return {};
    }
    for (const auto &[name, accepted] : m_oldSnapshot->files) {
        const auto listed = snapshot.files.find(name);
        if (listed == snapshot.files.end()) {
            return Refuse(ReleaseFault::Rollback, "snapshot.json no longer lists " + base::OneLine(name) +
                                                      ", which was accepted before" + kPublishAgain);
        }
        if (listed->second.version < accepted.version) {
            return Older("the " + base::OneLine(name) + " that snapshot.json lists", listed->second.version,
                         accepted.version);
        }
    }
    return {};
}

base::Result<void> TrustedRelease::TakeSnapshot(std::string_view bytes) {
    const ListedFile &listed = m_timestamp->snapshot;
    if (base::Result<void> same = CheckFile(FileOf("snapshot"), listed.facts, bytes); !same) {
        return same;
    }
    const base::Result<SignedFile> file = ReadChecked(MetadataType::Snapshot, "snapshot", kRoot, bytes);
    if (!file) {
        return base::Fail(file.error());
    }
    if (base::Result<void> right = CheckVersion(*file, "timestamp.json", listed); !right) {
        return right;
    }
    base::Result<Snapshot> snapshot = ReadSnapshot(*file);
    if (!snapshot) {
        return base::Fail(snapshot.error());
    }
    if (base::Result<void> newer = CheckSnapshotRollback(*snapshot); !newer) {
        return newer;
    }
    if (base::Result<void> fresh = CheckExpiry(file->name, snapshot->head); !fresh) {
        return fresh;
    }
    m_snapshot = std::move(*snapshot);
    return {};
}

// Targets

const Targets *TrustedRelease::targets(const std::string &role) const {
    const auto taken = m_targets.find(role);
    return taken == m_targets.end() ? nullptr : &taken->second.targets;
}

base::Result<ListedFile> TrustedRelease::Listed(const std::string &role) const {
    const auto listed = m_snapshot->files.find(role + ".json");
    if (listed == m_snapshot->files.end()) {
        return Refuse(ReleaseFault::Mismatch, "snapshot.json does not list " + FileOf(role) + kPublishAgain);
    }
    return listed->second;
}

base::Result<void> TrustedRelease::TakeTargets(const std::string &role, const std::string &delegator,
                                               std::string_view bytes) {
    const base::Result<ListedFile> listed = Listed(role);
    if (!listed) {
        return base::Fail(listed.error());
    }
    if (base::Result<void> same = CheckFile(FileOf(role), listed->facts, bytes); !same) {
        return same;
    }
    base::Result<SignedFile> file = ReadChecked(MetadataType::Targets, role, delegator, bytes);
    if (!file) {
        return base::Fail(file.error());
    }
    if (base::Result<void> right = CheckVersion(*file, "snapshot.json", *listed); !right) {
        return right;
    }
    if (base::Result<void> fresh = CheckExpiry(file->name, file->head); !fresh) {
        return fresh;
    }
    base::Result<Targets> targets = ReadTargets(*file);
    if (!targets) {
        return base::Fail(targets.error());
    }
    file->content.clear();
    m_targets.insert_or_assign(role, TakenTargets{std::move(*file), std::move(*targets)});
    return {};
}

base::Result<void> TrustedRelease::CheckDelegator(const std::string &role, const std::string &delegator) const {
    return CheckSigners(m_targets.at(role).file, role, delegator);
}

} // namespace delivery
