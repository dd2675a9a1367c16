#include "site/release/ReleaseUpdate.h"

#include <algorithm>
#include <chrono>

#include "base/Files.h"
#include "base/StagingFolder.h"
#include "delivery/release/ReleaseLayout.h"
#include "delivery/release/Signatures.h"
#include "delivery/release/StrictJson.h"
#include "site/release/MetadataText.h"
#include "site/release/Visitor.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Result;
using delivery::MetadataFileName;
using delivery::MetadataType;
using delivery::NameOf;

constexpr const char *kRootCopy = "root.json";
constexpr const char *kTargetsEntry = "targets.json";
// No time of signing gives a larger version; only a thief of the key does.
constexpr std::uint64_t kLargestVersion = 9999'12'31'23'59'59;

// 20261122031500
std::uint64_t VersionOf(delivery::ReleaseTime time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    std::uint64_t version = static_cast<std::uint64_t>(static_cast<int>(date.year()));
    version = version * 100 + static_cast<unsigned>(date.month());
    version = version * 100 + static_cast<unsigned>(date.day());
    version = version * 100 + static_cast<std::uint64_t>(clock.hours().count());
    version = version * 100 + static_cast<std::uint64_t>(clock.minutes().count());
    return version * 100 + static_cast<std::uint64_t>(clock.seconds().count());
}

Result<delivery::Root> ParseRoot(const std::string &bytes) {
    return delivery::ReadSigned(NameOf(MetadataType::Root), MetadataType::Root, bytes).and_then(delivery::ReadRoot);
}

// Whether two contents differ in more than version and expiry.
bool SaysTheSame(Json::Value one, Json::Value other) {
    for (Json::Value *content : {&one, &other}) {
        content->removeMember("version");
        content->removeMember("expires");
    }
    return delivery::CanonicalJson(one) == delivery::CanonicalJson(other);
}

} // namespace

Result<ReleaseUpdate> ReleaseUpdate::Begin(ReleaseKeys keys, const std::vector<std::string> &roots,
                                           const fs::path &site, delivery::ReleaseTime now) {
    ReleaseUpdate update(std::move(keys), site, now);
    Result<PublishedRelease> published = ReadPublishedRelease(site);
    if (!published) {
        return Fail(published.error());
    }
    update.m_release = std::move(*published);
    if (const Result<void> read = update.ReadRoots(roots); !read) {
        return Fail(read.error());
    }
    return update;
}

Result<void> ReleaseUpdate::ReadRoots(const std::vector<std::string> &roots) {
    for (const auto &[version, bytes] : m_release.roots) {
        if (version > roots.size() || roots[version - 1] != bytes) {
            return Fail((m_site / delivery::kReleaseFolder / MetadataFileName("root", version)).string() +
                        " is not the root " + std::to_string(version) + " of " + m_keys.folder().string() +
                        ", and visitors who trust it would refuse everything; use the keys with which the site was "
                        "published, in their newest state");
        }
    }
    m_roots = roots;
    Result<delivery::Root> root = ParseRoot(roots.back());
    if (!root) {
        return Fail(root.error());
    }
    m_root = std::move(*root);
    if (!m_release.roots.empty()) {
        Result<delivery::Root> former = ParseRoot(m_release.roots.rbegin()->second);
        if (!former) {
            return Fail(former.error());
        }
        m_former = std::move(*former);
    }
    if (m_root.head.expires <= m_now) {
        return Fail("root.json expired on " + delivery::ShowTime(m_root.head.expires) +
                    "; sign it again with: lumsite rotate " + m_keys.folder().string());
    }
    return {};
}

bool ReleaseUpdate::IsSignedFor(const delivery::Root &root, MetadataType type, const delivery::SignedFile &file) const {
    return delivery::CheckSignatures(file, root.keys, root.roles.at(NameOf(type)), NameOf(type)).has_value();
}

bool ReleaseUpdate::HalfIsLeft(MetadataType type, const delivery::MetadataHead &head) const {
    return head.expires - m_now > std::chrono::seconds(m_keys.DaysOf(type)) / 2;
}

std::uint64_t ReleaseUpdate::NextVersion(const delivery::MetadataHead *before) const {
    const std::uint64_t least = before && before->version < kLargestVersion ? before->version + 1 : 1;
    return std::max(least, VersionOf(m_now));
}

template <typename Content>
Result<void> ReleaseUpdate::Make(std::optional<PublishedFile<Content>> &published, MetadataType type,
                                 const std::function<void(Json::Value &)> &fill,
                                 Result<Content> (*read)(const delivery::SignedFile &), bool mayKeep) {
    Json::Value content =
        MetadataContent(type, NextVersion(published ? &published->file.head : nullptr), m_now + m_keys.DaysOf(type));
    fill(content);
    const bool keeps = mayKeep && published && SaysTheSame(content, published->file.content) &&
                       IsSignedFor(m_root, type, published->file) && HalfIsLeft(type, published->file.head);
    if (!keeps) {
        MetadataText text(std::move(content));
        std::vector<std::string> missing;
        std::vector<std::string> former;
        text.Sign(m_keys, m_root.roles.at(NameOf(type)).keyIds, missing);
        if (m_former) { // a key that is gone is missed by nobody but visitors with the old root
            text.Sign(m_keys, m_former->roles.at(NameOf(type)).keyIds, former);
        }
        std::string bytes = text.Text();
        Result<delivery::SignedFile> file = delivery::ReadSigned(NameOf(type), type, bytes);
        Result<Content> value = file ? read(*file) : Result<Content>(Fail(file.error()));
        if (!value) {
            return Fail(value.error());
        }
        if (!IsSignedFor(m_root, type, *file)) {
            return Fail(std::string(NameOf(type)) + ".json cannot be signed: " +
                        (missing.empty() ? "the root asks for more keys than it lists" : missing.front()));
        }
        published = PublishedFile<Content>{std::move(bytes), std::move(*file), std::move(*value)};
    }
    m_suitsFormer = m_suitsFormer && (!m_former || IsSignedFor(*m_former, type, published->file));
    if (!keeps && type == MetadataType::Timestamp) {
        m_timestamp = published->bytes;
    } else if (!keeps) {
        m_prepared[MetadataFileName(NameOf(type), published->file.head.version)] = published->bytes;
    }
    return {};
}

Result<void> ReleaseUpdate::MakeTargets(const Json::Value &targets, const Json::Value &custom) {
    const auto fill = [&](Json::Value &content) {
        content["targets"] = targets;
        if (!custom.isNull()) {
            content["custom"] = custom;
        }
    };
    return Make<delivery::Targets>(m_release.targets, MetadataType::Targets, fill, delivery::ReadTargets, true);
}

Result<void> ReleaseUpdate::KeepTargets() {
    if (!m_release.targets) {
        return Fail(m_site.string() + " has no complete release; publish it again");
    }
    return {};
}

Result<void> ReleaseUpdate::MakeSnapshot() {
    const auto fill = [&](Json::Value &content) {
        if (m_release.snapshot) { // other roles stay listed: a client refuses a snapshot that has lost one
            content["meta"] = m_release.snapshot->file.content["meta"];
        }
        content["meta"][kTargetsEntry]["version"] = static_cast<Json::UInt64>(m_release.targets->file.head.version);
    };
    return Make<delivery::Snapshot>(m_release.snapshot, MetadataType::Snapshot, fill, delivery::ReadSnapshot, true);
}

Result<void> ReleaseUpdate::MakeTimestamp(Renewal renewal) {
    const auto fill = [&](Json::Value &content) {
        Json::Value &entry = content["meta"]["snapshot.json"];
        entry["version"] = static_cast<Json::UInt64>(m_release.snapshot->file.head.version);
    };
    return Make<delivery::Timestamp>(m_release.timestamp, MetadataType::Timestamp, fill, delivery::ReadTimestamp,
                                     renewal == Renewal::WhenNeeded);
}

Result<void> ReleaseUpdate::Prove(const std::vector<std::string> &targets) const {
    std::error_code error;
    const base::StagingFolder place(fs::temp_directory_path(error), ".lumsite-visitor-");
    if (place.error() != 0) {
        return Fail(place.ErrorText(), place.error());
    }
    std::map<std::string, std::string> files = m_prepared;
    if (!m_timestamp.empty()) {
        files[MetadataFileName(NameOf(MetadataType::Timestamp))] = m_timestamp;
    }
    for (std::size_t i = 0; i < m_roots.size(); ++i) {
        files[MetadataFileName(NameOf(MetadataType::Root), i + 1)] = m_roots[i];
    }
    FolderRelease next(m_site, std::move(files));
    const Result<Visitor> fresh = Visitor::Fresh(place.path() / "fresh", m_roots.front());
    const Result<Visitor> former =
        Visitor::Fresh(place.path() / "former", m_former ? m_release.roots.rbegin()->second : m_roots.front());
    if (!fresh || !former) {
        return Fail(fresh ? former.error() : fresh.error());
    }
    FolderRelease published(m_site);
    (void)former->Start(published, {}, m_now); // gets as far as what is published can still be used
    for (const Visitor &visitor : {*fresh, *former}) {
        if (const auto started = visitor.Start(next, targets, m_now); !started) {
            return Fail("visitors would refuse this release, so nothing is changed: " + started.error().text);
        }
    }
    return {};
}

Result<void> ReleaseUpdate::Write(const std::string &name, const std::string &bytes, const Step &step) const {
    step(delivery::kReleaseFolder + name);
    return base::ReplaceFile(m_site / delivery::kReleaseFolder / name, bytes, base::Readers::Everyone);
}

Result<void> ReleaseUpdate::Prepare(const Step &step) const {
    for (const auto &[name, bytes] : m_prepared) {
        if (Result<void> written = Write(name, bytes, step); !written) {
            return written;
        }
    }
    return {};
}

// The newest first: a visitor asks for the next version only, and so meets all of them or none.
Result<void> ReleaseUpdate::SwitchRoots(const Step &step) const {
    for (std::size_t version = m_roots.size(); version > 0; --version) {
        if (m_release.roots.contains(version)) {
            continue;
        }
        if (Result<void> written =
                Write(MetadataFileName(NameOf(MetadataType::Root), version), m_roots[version - 1], step);
            !written) {
            return written;
        }
    }
    return {};
}

Result<void> ReleaseUpdate::Switch(const Step &step) const {
    const auto timestamp = [&] {
        return m_timestamp.empty() ? Result<void>()
                                   : Write(MetadataFileName(NameOf(MetadataType::Timestamp)), m_timestamp, step);
    };
    const auto roots = [&] { return SwitchRoots(step); };
    const Result<void> switched = m_suitsFormer ? timestamp().and_then(roots) : SwitchRoots(step).and_then(timestamp);
    return switched.and_then([&] {
        const Result<std::string> copy = base::ReadWhole(m_site / delivery::kReleaseFolder / kRootCopy, 1 << 20);
        return copy && *copy == m_roots.back() ? Result<void>() : Write(kRootCopy, m_roots.back(), step);
    });
}

std::vector<std::string> ReleaseUpdate::Written() const {
    std::vector<std::string> names;
    for (const auto &[name, bytes] : m_prepared) {
        names.push_back(delivery::kReleaseFolder + name);
    }
    for (std::size_t version = 1; version <= m_roots.size(); ++version) {
        if (!m_release.roots.contains(version)) {
            names.push_back(delivery::kReleaseFolder + MetadataFileName(NameOf(MetadataType::Root), version));
        }
    }
    if (!m_timestamp.empty()) {
        names.push_back(delivery::kReleaseFolder + MetadataFileName(NameOf(MetadataType::Timestamp)));
    }
    return names;
}

base::Findings ReleaseUpdate::Warnings() const {
    base::Findings findings;
    const auto warn = [&](MetadataType type, const delivery::MetadataHead &head, const std::string &remedy) {
        // A third of its time: long enough to do something about it.
        if (head.expires - m_now < std::chrono::seconds(m_keys.DaysOf(type)) / 3) {
            findings.push_back({base::Severity::Warning, MetadataFileName(NameOf(type)),
                                "expires on " + delivery::ShowTime(head.expires), remedy});
        }
    };
    warn(MetadataType::Root, m_root.head, "sign it again before that day (lumsite rotate), and publish");
    if (m_release.targets) {
        warn(MetadataType::Targets, m_release.targets->file.head, "publish again before that day");
    }
    return findings;
}

} // namespace lumsite
