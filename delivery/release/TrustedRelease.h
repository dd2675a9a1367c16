// What is trusted of a release, and the rules by which a file becomes so (TUF 1.0.34, 5.2 to 5.6). Knows neither the
// network nor the disk: ReleaseClient brings the files, in this order:
//
//     StartFrom             the root that is saved
//     TakeNextRoot ...      each version after it, then CheckRoot
//     RecallTimestamp       the saved one, the base of the check for a rollback
//     TakeTimestamp         the server's
//     RecallSnapshot        the saved one
//     TakeSnapshot          the server's, unless the saved one is still the current one
//     TakeTargets           "targets", then the roles that the search for a target meets
//
// Each function that takes a file either accepts it or changes nothing and fails with a ReleaseFault. One thread at a
// time.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "delivery/release/Metadata.h"

namespace delivery {

class TrustedRelease {
public:
    // `start`: the time to compare every expiry with (5.1).
    explicit TrustedRelease(ReleaseTime start) : m_start(start) {}

    // The trusted root. It must be signed by its own keys; it may have expired.
    base::Result<void> StartFrom(std::string_view root);
    // The version after the trusted one, signed by the keys of both.
    base::Result<void> TakeNextRoot(std::string_view bytes);
    // True when a root since StartFrom has withdrawn a key of the timestamp or snapshot role. What is saved of these
    // two must then be forgotten: it may carry versions that a thief of the key made too high (5.3.11).
    bool KeysWithdrawn() const {
        return m_keysWithdrawn;
    }
    // After the last root: whether that has expired.
    base::Result<void> CheckRoot() const;

    // A saved timestamp that the present keys did not sign is as if absent. It may have expired.
    void RecallTimestamp(std::string_view bytes);
    // False when it has the version of the recalled one, which then stays trusted.
    base::Result<bool> TakeTimestamp(std::string_view bytes);
    // Whether there is a timestamp and it has not expired.
    base::Result<void> CheckTimestamp() const;

    // True when it is what the timestamp lists, so that it need not be fetched. A saved snapshot that the present keys
    // did not sign is as if absent.
    bool RecallSnapshot(std::string_view bytes);
    base::Result<void> TakeSnapshot(std::string_view bytes);

    // The metadata of `role`, to which `delegator` (a role with trusted metadata) delegates; the delegator of "targets"
    // is "root". Also for a saved file, which is accepted exactly when the server's same version would be.
    base::Result<void> TakeTargets(const std::string &role, const std::string &delegator, std::string_view bytes);
    // For a role that was accepted by way of one delegator and is met by way of another.
    base::Result<void> CheckDelegator(const std::string &role, const std::string &delegator) const;

    // How the snapshot lists the role; fails with ReleaseFault::Mismatch when it does not.
    base::Result<ListedFile> Listed(const std::string &role) const;

    // The version of a timestamp, when the keys that are trusted now have signed it. Nothing otherwise.
    std::optional<std::uint64_t> SignedTimestampVersion(std::string_view bytes) const;

    // Null as long as there is none.
    const Root *root() const {
        return m_root ? &*m_root : nullptr;
    }
    const Timestamp *timestamp() const {
        return m_timestamp ? &*m_timestamp : nullptr;
    }
    const Snapshot *snapshot() const {
        return m_snapshot ? &*m_snapshot : nullptr;
    }
    const Targets *targets(const std::string &role) const;

private:
    struct TakenTargets {
        SignedFile file; // without content, for CheckDelegator
        Targets targets;
    };

    base::Result<void> CheckSigners(const SignedFile &file, const std::string &role,
                                    const std::string &delegator) const;
    base::Result<SignedFile> ReadChecked(MetadataType type, const std::string &role, const std::string &delegator,
                                         std::string_view bytes) const;
    base::Result<void> CheckExpiry(const std::string &file, const MetadataHead &head) const;
    base::Result<void> CheckSnapshotRollback(const Snapshot &snapshot) const;

    const ReleaseTime m_start;
    std::optional<Root> m_root;
    bool m_keysWithdrawn = false;
    std::optional<Timestamp> m_timestamp;
    std::optional<Snapshot> m_oldSnapshot;
    std::optional<Snapshot> m_snapshot;
    std::map<std::string, TakenTargets> m_targets;
};

} // namespace delivery
