#include "site/release/PublishedRelease.h"

#include <cerrno>

#include "base/Files.h"
#include "base/FolderNames.h"
#include "base/Text.h"
#include "delivery/release/ReleaseLayout.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Result;
using delivery::MetadataType;
using delivery::NameOf;

constexpr std::uint64_t kLargestFile = 16 << 20; // more than clients take

// Nothing when there is no such file.
Result<std::optional<std::string>> ReadIfThere(const fs::path &file) {
    Result<std::string> bytes = base::ReadWhole(file, kLargestFile);
    if (!bytes && bytes.error().code == ENOENT) {
        return std::optional<std::string>();
    }
    return std::move(bytes).map([](std::string &&text) { return std::optional(std::move(text)); });
}

class FolderReader {
public:
    explicit FolderReader(fs::path folder) : m_folder(std::move(folder)) {}

    template <typename Content>
    Result<std::optional<PublishedFile<Content>>> Read(MetadataType type, std::uint64_t version,
                                                       Result<Content> (*read)(const delivery::SignedFile &)) const {
        Result<std::optional<std::string>> bytes =
            ReadIfThere(m_folder / delivery::MetadataFileName(NameOf(type), version));
        if (!bytes) {
            return Fail(bytes.error());
        }
        std::optional<PublishedFile<Content>> found;
        Result<delivery::SignedFile> file =
            *bytes ? delivery::ReadSigned(NameOf(type), type, **bytes) : Fail("there is none");
        if (file) {
            if (Result<Content> content = read(*file)) {
                found = PublishedFile<Content>{std::move(**bytes), std::move(*file), std::move(*content)};
            }
        }
        return found;
    }

    Result<void> ReadRoots(std::map<std::uint64_t, std::string> &roots) const;

private:
    fs::path m_folder;
};

Result<void> FolderReader::ReadRoots(std::map<std::uint64_t, std::string> &roots) const {
    std::error_code error;
    if (!fs::exists(m_folder, error)) {
        return {};
    }
    const Result<std::vector<std::string>> names = base::NamesIn(m_folder);
    if (!names) {
        return Fail(names.error());
    }
    for (const std::string &name : *names) {
        const std::optional<VersionedName> versioned = ReadVersionedName(name);
        if (!versioned || versioned->role != NameOf(MetadataType::Root)) {
            continue;
        }
        Result<std::string> bytes = base::ReadWhole(m_folder / name, kLargestFile);
        if (!bytes) {
            return Fail(bytes.error());
        }
        roots.emplace(versioned->version, std::move(*bytes));
    }
    return {};
}

} // namespace

std::optional<VersionedName> ReadVersionedName(const std::string &name) {
    constexpr std::string_view suffix = ".json";
    const std::size_t dot = name.find('.');
    const auto version = base::ReadNumber<std::uint64_t>(name.substr(0, dot));
    if (!version || *version == 0 || name.size() <= dot + 1 + suffix.size() || !name.ends_with(suffix)) {
        return std::nullopt;
    }
    const auto role = base::PercentDecode(name.substr(dot + 1, name.size() - dot - 1 - suffix.size()));
    return role ? std::optional(VersionedName{*version, *role}) : std::nullopt;
}

Result<PublishedRelease> ReadPublishedRelease(const fs::path &site) {
    const FolderReader reader(site / delivery::kReleaseFolder);
    PublishedRelease release;
    if (const Result<void> read = reader.ReadRoots(release.roots); !read) {
        return Fail(read.error());
    }
    auto timestamp = reader.Read(MetadataType::Timestamp, 0, delivery::ReadTimestamp);
    if (!timestamp || !*timestamp) {
        return timestamp ? Result<PublishedRelease>(std::move(release)) : Fail(timestamp.error());
    }
    release.timestamp = std::move(*timestamp);
    auto snapshot =
        reader.Read(MetadataType::Snapshot, release.timestamp->content.snapshot.version, delivery::ReadSnapshot);
    if (!snapshot || !*snapshot) {
        return snapshot ? Result<PublishedRelease>(std::move(release)) : Fail(snapshot.error());
    }
    release.snapshot = std::move(*snapshot);
    auto targets = reader.Read(MetadataType::Targets, release.snapshot->content.files.at("targets.json").version,
                               delivery::ReadTargets);
    if (!targets) {
        return Fail(targets.error());
    }
    release.targets = std::move(*targets);
    return release;
}

} // namespace lumsite
