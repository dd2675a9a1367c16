// Checks a published site the way a visitor's extension will: the page, its certificate, every line of the instruction
// file, every package. Hashes, certificates' keys and signatures are judged by the extension's own functions.
//
// A clean report means that an installation from this site passes the extension's checks today. It cannot promise that
// the component runs, nor that a visitor's computer trusts the authority; where the latter matters the report says so.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/Finding.h"
#include "base/Result.h"
#include "delivery/release/Metadata.h"
#include "site/keys/Certificates.h"

namespace lumsite {

struct CheckOptions {
    std::string page; // relative to the site, or an address; empty: index.html, in a folder every page with an object
    std::string section;              // empty: the one that the page names
    std::vector<Certificate> trusted; // roots that visitors trust, besides the system's
    int soonDays = 30;                // an expiry nearer than that is a warning
    std::filesystem::path root;       // of a signed release, as visitors trust it; empty: the site's own
    std::filesystem::path visitor;    // what a visitor of the release has saved, kept from check to check; empty: none
    std::optional<delivery::ReleaseTime> now; // for the release; nothing: the clock of this computer
};

struct CheckReport {
    base::Findings findings;
    std::size_t pages = 0;
    std::size_t items = 0; // items whose packages were examined, each once

    bool Passed() const {
        return !base::HasErrors(findings);
    }
};

// `place` is a folder or an http(s) address. Fails when it is neither.
base::Result<CheckReport> CheckSite(const std::string &place, const CheckOptions &options = {});

} // namespace lumsite
