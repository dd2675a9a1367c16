// The targets of a release: the files below "release/targets/", under names with their hash in front, and what the
// metadata says of them. Any thread.
#pragma once

#include <json/value.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "base/Result.h"
#include "delivery/release/FileCheck.h"
#include "delivery/release/Metadata.h"

namespace lumsite {

class ReleaseTargets {
public:
    explicit ReleaseTargets(std::filesystem::path site) : m_site(std::move(site)) {}

    // A file of the published folder, by its path in it.
    base::Result<void> AddFile(const std::string &path);
    // A text that is going to have this path.
    void AddText(const std::string &path, std::string text);

    std::vector<std::string> Paths() const;
    // The "targets" of the metadata.
    Json::Value Listed() const;
    // Writes the files that are missing: as hard links, or as copies where the file system has none. `step` gets the
    // name of each before it is written.
    base::Result<void> Write(const std::function<void(const std::string &name)> &step) const;

private:
    struct Target {
        std::uint64_t length;
        std::string hash;
        std::optional<std::string> text; // nothing: the file of the published folder
    };

    std::filesystem::path m_site;
    std::map<std::string, Target> m_targets;
};

// Removes metadata and targets that no snapshot needs any more: neither the one that the timestamp lists nor one that
// has not expired, for a visitor may still be at work with that. The paths below the site of what was removed; each is
// given to `step` before. Removes nothing when it cannot read what is still needed.
base::Result<std::vector<std::string>> PruneRelease(const std::filesystem::path &site, delivery::ReleaseTime now,
                                                    const std::function<void(const std::string &name)> &step);

} // namespace lumsite
