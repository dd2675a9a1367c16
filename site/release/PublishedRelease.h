// The signed release in a published folder, as it is now. Any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "base/Result.h"
#include "delivery/release/Metadata.h"

namespace lumsite {

template <typename Content> struct PublishedFile {
    std::string bytes;
    delivery::SignedFile file;
    Content content;
};

struct PublishedRelease {
    std::map<std::uint64_t, std::string> roots; // by version
    // Each as the one before lists it. Missing when that is not there, or not metadata.
    std::optional<PublishedFile<delivery::Timestamp>> timestamp;
    std::optional<PublishedFile<delivery::Snapshot>> snapshot;
    std::optional<PublishedFile<delivery::Targets>> targets;

    bool exists() const {
        return timestamp || !roots.empty();
    }
};

// `site` is the published folder. Fails when a file is there and cannot be read.
base::Result<PublishedRelease> ReadPublishedRelease(const std::filesystem::path &site);

// What "VERSION.ROLE.json" is of; nothing for another name.
struct VersionedName {
    std::uint64_t version;
    std::string role;
};
std::optional<VersionedName> ReadVersionedName(const std::string &name);

} // namespace lumsite
