// The next state of a published release: which files change, and in which order, so that visitors find one whole
// release at any moment.
//
// Everything that nothing refers to yet is written first: targets, "N.targets.json", "N.snapshot.json". The timestamp
// makes them the release, in one step. A new root comes after the timestamp when the keys of the old root and of the
// new one have both signed everything below it, so that either root is right with it; and before the timestamp when the
// old keys are gone. "root.json", from which a first visitor starts, is the last.
//
// The version of targets, snapshot and timestamp is the time of signing as a number (20261122031500, UTC), or one more
// than before when that is higher. So several computers may sign in turn, and a lost copy of the site does no harm.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "base/Finding.h"
#include "base/Result.h"
#include "site/release/PublishedRelease.h"
#include "site/release/ReleaseKeys.h"

namespace lumsite {

class ReleaseUpdate {
public:
    // `roots`: all versions, from the first on; at least one. What is published may lack the last of them.
    static base::Result<ReleaseUpdate> Begin(ReleaseKeys keys, const std::vector<std::string> &roots,
                                             const std::filesystem::path &site, delivery::ReleaseTime now);

    // What is published, until something else is made.
    const PublishedRelease &release() const {
        return m_release;
    }

    // In this order. A file that says the same as the published one, is signed by the right keys and has more than half
    // of its time before it stays as it is.
    base::Result<void> MakeTargets(const Json::Value &targets, const Json::Value &custom);
    base::Result<void> KeepTargets(); // instead: those that are published, whatever their age
    base::Result<void> MakeSnapshot();
    enum class Renewal { WhenNeeded, Always };
    base::Result<void> MakeTimestamp(Renewal renewal);

    // Whether visitors will accept the new state: a fresh one, and one who has what is published now. `targets`: which
    // they look for.
    base::Result<void> Prove(const std::vector<std::string> &targets) const;

    // Called with the name of a file before it is written.
    using Step = std::function<void(const std::string &name)>;
    // What nothing refers to yet.
    base::Result<void> Prepare(const Step &step) const;
    // What makes it the release.
    base::Result<void> Switch(const Step &step) const;

    // Files that Prepare and Switch write, below the site.
    std::vector<std::string> Written() const;
    // Warnings about expiry.
    base::Findings Warnings() const;

private:
    ReleaseUpdate(ReleaseKeys keys, std::filesystem::path site, delivery::ReleaseTime now)
        : m_keys(std::move(keys)), m_site(std::move(site)), m_now(now) {}

    base::Result<void> ReadRoots(const std::vector<std::string> &roots);
    template <typename Content>
    base::Result<void> Make(std::optional<PublishedFile<Content>> &published, delivery::MetadataType type,
                            const std::function<void(Json::Value &)> &fill,
                            base::Result<Content> (*read)(const delivery::SignedFile &), bool mayKeep);
    bool IsSignedFor(const delivery::Root &root, delivery::MetadataType type, const delivery::SignedFile &file) const;
    bool HalfIsLeft(delivery::MetadataType type, const delivery::MetadataHead &head) const;
    std::uint64_t NextVersion(const delivery::MetadataHead *before) const;
    base::Result<void> Write(const std::string &name, const std::string &bytes, const Step &step) const;
    base::Result<void> SwitchRoots(const Step &step) const;

    ReleaseKeys m_keys;
    std::filesystem::path m_site;
    delivery::ReleaseTime m_now;
    PublishedRelease m_release;                    // published, and replaced by what is made
    std::vector<std::string> m_roots;              // all
    std::optional<delivery::Root> m_former;        // the newest that is published
    delivery::Root m_root;                         // the newest
    bool m_suitsFormer = true;                     // all that is made or kept is right with the former root too
    std::map<std::string, std::string> m_prepared; // new files, by name
    std::string m_timestamp;                       // the new one; empty when it stays
};

} // namespace lumsite
