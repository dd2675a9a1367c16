// Checks a published site the way a visitor's extension will: the page, its certificate, every line of the instruction
// file, every package. Hashes, certificates' keys and signatures are judged by the extension's own functions.
//
// A clean report says that an installation from this site passes the extension's checks today. It cannot promise that
// the component runs, nor that a visitor's computer trusts the authority; where the latter matters the report says so.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "site/keys/Certificates.h"
#include "site/SiteError.h"

namespace lumsite {

struct CheckOptions {
    std::string page; // relative to the site, or an address; empty: index.html, in a folder every page with an object
    std::string section;              // empty: the one that the page names
    std::vector<Certificate> trusted; // roots that visitors trust, besides the system's
    int soonDays = 30;                // an end of validity that is nearer is warned about
};

struct CheckReport {
    Findings findings;
    int pages = 0;
    int items = 0; // items whose packages were looked at, each once

    bool Passed() const {
        return !HasErrors(findings);
    }
};

// `place` is a folder or an http(s) address. Throws SiteError when the site cannot be looked at at all.
CheckReport CheckSite(const std::string &place, const CheckOptions &options = {});

} // namespace lumsite
