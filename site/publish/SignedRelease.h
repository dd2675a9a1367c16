// The signed release that a publish writes beside everything else.
#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/Result.h"
#include "site/publish/Manifest.h"
#include "site/release/ReleaseUpdate.h"

namespace lumsite {

class SignedRelease {
public:
    // Nothing when neither manifest nor site has a release. Refuses a manifest without one for a site that has one, and
    // keys that are not the site's or are inside the site.
    static base::Result<std::optional<SignedRelease>> Begin(const Manifest &manifest, const std::filesystem::path &site,
                                                            delivery::ReleaseTime now);

    // Writes what the release will need and no visitor asks for yet. `packages`: paths below the site of those that the
    // instruction file names; `before`: of those that the earlier one names. Packages of the release that are named no
    // more stay in it for kKeepHours, for visitors with a saved instruction file.
    base::Result<void> Prepare(const std::string &instructions, std::set<std::string> packages,
                               const std::vector<std::string> &before, const ReleaseUpdate::Step &step);
    // Makes it the release.
    base::Result<void> Switch(const ReleaseUpdate::Step &step) const {
        return m_update.Switch(step);
    }
    // Removes what no visitor can need any more, and returns its paths below the site.
    base::Result<std::vector<std::string>> Prune(const ReleaseUpdate::Step &step) const;

    std::vector<std::string> Written() const {
        return m_update.Written();
    }
    base::Findings Warnings() const {
        return m_update.Warnings();
    }

private:
    base::Result<void> AddRetired(std::set<std::string> &packages, const std::vector<std::string> &before) const;
    SignedRelease(ReleaseUpdate update, std::vector<std::string> mirrors, std::filesystem::path site,
                  delivery::ReleaseTime now)
        : m_update(std::move(update)), m_mirrors(std::move(mirrors)), m_site(std::move(site)), m_now(now) {}

    ReleaseUpdate m_update;
    std::vector<std::string> m_mirrors;
    std::filesystem::path m_site;
    delivery::ReleaseTime m_now;
};

} // namespace lumsite
