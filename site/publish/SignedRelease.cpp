#include "site/publish/SignedRelease.h"

#include "delivery/instructions/InstructionFile.h"
#include "site/publish/RetiredPackages.h"
#include "site/release/ReleaseTargets.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Result;

Result<void> RefuseUnsigned(const Manifest &manifest, const fs::path &site) {
    const Result<PublishedRelease> published = ReadPublishedRelease(site);
    if (!published) {
        return Fail(published.error());
    }
    if (!manifest.release && published->exists()) {
        return Fail(site.string() +
                    " has a signed release, and visitors who trust its root accept nothing else; name its keys in the "
                    "manifest's \"release\"");
    }
    return {};
}

Json::Value Custom(const std::vector<std::string> &mirrors) {
    Json::Value custom;
    for (const std::string &mirror : mirrors) {
        custom["mirrors"].append(mirror);
    }
    return custom;
}

} // namespace

Result<std::optional<SignedRelease>> SignedRelease::Begin(const Manifest &manifest, const fs::path &site,
                                                          delivery::ReleaseTime now) {
    if (const Result<void> signedAsBefore = RefuseUnsigned(manifest, site); !signedAsBefore) {
        return Fail(signedAsBefore.error());
    }
    if (!manifest.release) {
        return std::optional<SignedRelease>();
    }
    const auto named = [&](base::Error error) {
        error.text = manifest.release->where + ": " + error.text;
        return error;
    };
    Result<ReleaseKeys> keys = ReleaseKeys::Read(manifest.release->keys);
    if (!keys) {
        return Fail(named(keys.error()));
    }
    const Result<std::vector<std::string>> roots = keys->Roots();
    if (!roots) {
        return Fail(named(roots.error()));
    }
    Result<ReleaseUpdate> update = ReleaseUpdate::Begin(std::move(*keys), *roots, site, now);
    if (!update) {
        return Fail(named(update.error()));
    }
    return std::optional(SignedRelease(std::move(*update), manifest.release->mirrors, site, now));
}

Result<void> SignedRelease::AddRetired(std::set<std::string> &packages, const std::vector<std::string> &before) const {
    const Result<std::vector<std::string>> outdated =
        OutdatedPackages(m_site / kPackageFolder, {}, std::chrono::hours(kKeepHours));
    if (!outdated) {
        return Fail(outdated.error());
    }
    std::set<std::string> gone;
    for (const std::string &name : *outdated) {
        gone.insert(std::string(kPackageFolder) + "/" + name);
    }
    for (const std::string &path : before) {
        gone.erase(path); // it retires only now
    }
    std::error_code error;
    const auto &published = m_update.release().targets;
    for (const auto &[path, target] : published ? published->content.targets : decltype(published->content.targets)()) {
        if (path.starts_with(std::string(kPackageFolder) + "/") && !gone.contains(path) &&
            fs::exists(m_site / path, error)) {
            packages.insert(path);
        }
    }
    return {};
}

Result<void> SignedRelease::Prepare(const std::string &instructions, std::set<std::string> packages,
                                    const std::vector<std::string> &before, const ReleaseUpdate::Step &step) {
    if (Result<void> added = AddRetired(packages, before); !added) {
        return added;
    }
    ReleaseTargets targets(m_site);
    for (const std::string &path : packages) {
        if (Result<void> added = targets.AddFile(path); !added) {
            return added;
        }
    }
    targets.AddText(delivery::kInstructionFileName, instructions);
    return m_update.MakeTargets(targets.Listed(), Custom(m_mirrors))
        .and_then([&] { return m_update.MakeSnapshot(); })
        .and_then([&] { return m_update.MakeTimestamp(ReleaseUpdate::Renewal::WhenNeeded); })
        .and_then([&] { return m_update.Prove(targets.Paths()); })
        .and_then([&] { return targets.Write(step); })
        .and_then([&] { return m_update.Prepare(step); });
}

Result<std::vector<std::string>> SignedRelease::Prune(const ReleaseUpdate::Step &step) const {
    return PruneRelease(m_site, m_now, step);
}

} // namespace lumsite
