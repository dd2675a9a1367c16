#include "site/release/Renewal.h"

#include "site/SiteLock.h"
#include "site/release/PublishedRelease.h"
#include "site/release/ReleaseUpdate.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Result;

// The root is the site's own: the folder of keys may lack it on the computer that renews.
Result<std::vector<std::string>> PublishedRoots(const fs::path &site) {
    const Result<PublishedRelease> release = ReadPublishedRelease(site);
    if (!release) {
        return Fail(release.error());
    }
    std::vector<std::string> roots;
    for (const auto &[version, bytes] : release->roots) {
        if (version != roots.size() + 1) {
            break;
        }
        roots.push_back(bytes);
    }
    if (roots.empty() || roots.size() != release->roots.size()) {
        return Fail(site.string() + " has no complete release; publish it, with \"release\" in the manifest");
    }
    return roots;
}

} // namespace

Result<RenewResult> RenewRelease(const fs::path &keys, const fs::path &site, delivery::ReleaseTime now) {
    Result<ReleaseKeys> read = ReleaseKeys::Read(keys);
    if (!read) {
        return Fail(read.error());
    }
    const Result<base::FileLock> lock = LockSite(site);
    if (!lock) {
        return Fail(lock.error());
    }
    const Result<std::vector<std::string>> roots = PublishedRoots(site);
    if (!roots) {
        return Fail(roots.error());
    }
    Result<ReleaseUpdate> update = ReleaseUpdate::Begin(std::move(*read), *roots, site, now);
    if (!update) {
        return Fail(update.error());
    }
    const ReleaseUpdate::Step noStep = [](const std::string &) {};
    const Result<void> renewed = update->KeepTargets()
                                     .and_then([&] { return update->MakeSnapshot(); })
                                     .and_then([&] { return update->MakeTimestamp(ReleaseUpdate::Renewal::Always); })
                                     .and_then([&] { return update->Prove({}); })
                                     .and_then([&] { return update->Prepare(noStep); })
                                     .and_then([&] { return update->Switch(noStep); });
    if (!renewed) {
        return Fail(renewed.error());
    }
    return RenewResult{update->Written(), update->Warnings()};
}

} // namespace lumsite
