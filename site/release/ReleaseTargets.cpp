#include "site/release/ReleaseTargets.h"

#include <algorithm>
#include <cstdint>
#include <set>

#include <unistd.h>

#include "base/Digest.h"
#include "base/Files.h"
#include "base/FolderNames.h"
#include "delivery/release/ReleaseLayout.h"
#include "site/release/PublishedRelease.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Result;
using delivery::MetadataFileName;
using delivery::MetadataType;
using delivery::NameOf;

constexpr std::uint64_t kLargestMetadata = 16 << 20;

bool HasDigest(const fs::path &file, const std::string &hash) {
    std::error_code error;
    return fs::is_regular_file(fs::symlink_status(file, error)) && base::DigestOfFile(file) == hash;
}

// The new name is there with its whole content, or not at all.
Result<void> LinkOrCopy(const fs::path &from, const fs::path &to) {
    std::error_code error;
    fs::remove(to, error); // it has another content than its name says
    if (link(from.c_str(), to.c_str()) == 0) {
        return {};
    }
    Result<base::StagedFile> copy = base::StagedFile::Make(to.parent_path(), base::Readers::Everyone);
    if (!copy) {
        return Fail(copy.error());
    }
    if (!fs::copy_file(from, copy->path(), fs::copy_options::overwrite_existing, error)) {
        return base::SystemFailure("cannot copy " + from.string() + " to " + to.string(), error.value());
    }
    return copy->Commit(to);
}

// What must stay.
struct Needed {
    std::set<std::string> metadata; // names
    std::set<std::string> targets;  // below the folder of targets
};

class Pruning {
public:
    Pruning(const fs::path &site, delivery::ReleaseTime now) : m_folder(site / delivery::kReleaseFolder), m_now(now) {}

    // False when it cannot be told.
    bool FindNeeded(const std::vector<std::string> &names, std::uint64_t current);
    Result<std::vector<std::string>> Outdated(const std::vector<std::string> &names) const;

private:
    bool NeedSnapshot(const std::string &name, std::uint64_t version, std::uint64_t current);
    bool NeedTargets(const std::string &role, std::uint64_t version);
    template <typename Content>
    Result<Content> Read(const std::string &name, const std::string &role, MetadataType type,
                         Result<Content> (*read)(const delivery::SignedFile &)) const {
        return base::ReadWhole(m_folder / name, kLargestMetadata)
            .and_then([&](const std::string &bytes) { return delivery::ReadSigned(role, type, bytes); })
            .and_then(read);
    }

    fs::path m_folder;
    delivery::ReleaseTime m_now;
    Needed m_needed;
};

bool Pruning::NeedTargets(const std::string &role, std::uint64_t version) {
    const std::string name = MetadataFileName(role, version);
    if (!m_needed.metadata.insert(name).second) {
        return true;
    }
    const Result<delivery::Targets> targets = Read(name, role, MetadataType::Targets, delivery::ReadTargets);
    if (!targets) {
        return false;
    }
    for (const auto &[path, target] : targets->targets) {
        for (const auto &[algorithm, hash] : target.facts.hashes) {
            m_needed.targets.insert(delivery::HashedPath(path, hash));
        }
    }
    return true;
}

bool Pruning::NeedSnapshot(const std::string &name, std::uint64_t version, std::uint64_t current) {
    const Result<delivery::Snapshot> snapshot =
        Read(name, NameOf(MetadataType::Snapshot), MetadataType::Snapshot, delivery::ReadSnapshot);
    if (!snapshot) {
        return false;
    }
    if (version != current && snapshot->head.expires <= m_now) {
        return true; // it is not needed
    }
    m_needed.metadata.insert(name);
    return std::ranges::all_of(snapshot->files, [&](const auto &file) {
        return NeedTargets(file.first.substr(0, file.first.rfind(".json")), file.second.version);
    });
}

bool Pruning::FindNeeded(const std::vector<std::string> &names, std::uint64_t current) {
    return std::ranges::all_of(names, [&](const std::string &name) {
        const std::optional<VersionedName> versioned = ReadVersionedName(name);
        return !versioned || versioned->role != NameOf(MetadataType::Snapshot) ||
               NeedSnapshot(name, versioned->version, current);
    });
}

Result<std::vector<std::string>> Pruning::Outdated(const std::vector<std::string> &names) const {
    std::vector<std::string> outdated;
    for (const std::string &name : names) {
        const std::optional<VersionedName> versioned = ReadVersionedName(name);
        if (versioned && versioned->role != NameOf(MetadataType::Root) && !m_needed.metadata.contains(name)) {
            outdated.push_back(delivery::kReleaseFolder + name);
        }
    }
    std::error_code error;
    const fs::path targets = m_folder / "targets";
    for (auto entry = fs::recursive_directory_iterator(targets, error);
         !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        const std::string path = entry->path().lexically_relative(targets);
        const std::string name = entry->path().filename();
        const bool isOurs = delivery::IsHash("sha256", name.substr(0, name.find('.'))).value_or(false);
        if (isOurs && entry->is_regular_file(error) && !m_needed.targets.contains(path)) {
            outdated.push_back(delivery::kReleaseTargetsFolder + path);
        }
    }
    return outdated;
}

} // namespace

Result<void> ReleaseTargets::AddFile(const std::string &path) {
    const fs::path file = m_site / path;
    std::error_code error;
    const std::uint64_t length = fs::file_size(file, error);
    Result<std::string> hash = base::DigestOfFile(file);
    if (!hash) {
        return Fail(hash.error());
    }
    m_targets[path] = {length, std::move(*hash), std::nullopt};
    return {};
}

void ReleaseTargets::AddText(const std::string &path, std::string text) {
    m_targets[path] = {text.size(), base::DigestOfText(text), text};
}

std::vector<std::string> ReleaseTargets::Paths() const {
    std::vector<std::string> paths;
    for (const auto &[path, target] : m_targets) {
        paths.push_back(path);
    }
    return paths;
}

Json::Value ReleaseTargets::Listed() const {
    Json::Value listed(Json::objectValue);
    for (const auto &[path, target] : m_targets) {
        listed[path]["length"] = static_cast<Json::UInt64>(target.length);
        listed[path]["hashes"]["sha256"] = target.hash;
    }
    return listed;
}

Result<void> ReleaseTargets::Write(const std::function<void(const std::string &)> &step) const {
    for (const auto &[path, target] : m_targets) {
        const std::string name = delivery::kReleaseTargetsFolder + delivery::HashedPath(path, target.hash);
        const fs::path file = m_site / name;
        if (HasDigest(file, target.hash)) {
            continue;
        }
        step(name);
        const Result<void> written = target.text
                                         ? base::ReplaceFile(file, *target.text, base::Readers::Everyone)
                                         : base::MakeFolder(file.parent_path(), base::Readers::Everyone).and_then([&] {
                                               return LinkOrCopy(m_site / path, file);
                                           });
        if (!written) {
            return written;
        }
    }
    return {};
}

Result<std::vector<std::string>> PruneRelease(const fs::path &site, delivery::ReleaseTime now,
                                              const std::function<void(const std::string &)> &step) {
    const Result<PublishedRelease> release = ReadPublishedRelease(site);
    const Result<std::vector<std::string>> names = base::NamesIn(site / delivery::kReleaseFolder);
    if (!release || !names) {
        return Fail(release ? names.error() : release.error());
    }
    Pruning pruning(site, now);
    if (!release->snapshot || !pruning.FindNeeded(*names, release->snapshot->file.head.version)) {
        return std::vector<std::string>();
    }
    Result<std::vector<std::string>> outdated = pruning.Outdated(*names);
    for (const std::string &name : outdated ? *outdated : std::vector<std::string>()) {
        step(name);
        std::error_code error;
        if (!fs::remove(site / name, error)) {
            return base::SystemFailure("cannot remove " + (site / name).string(), error.value());
        }
    }
    return outdated;
}

} // namespace lumsite
