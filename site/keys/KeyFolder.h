// Making the folder of a site's keys, and renewing the certificate in it. SiteKeys.h tells what it contains.
#pragma once

#include <filesystem>
#include <string>

#include "base/Result.h"

namespace lumsite {

struct InitOptions {
    std::string commonName;        // of the site's certificate; must obey the vendor's rule
    int days = 365;                // of the site's certificate
    int authorityDays = 3650;      // of the authority
    int intermediates = 0;         // certificates between the root and the site's
    std::filesystem::path issuers; // a folder made earlier, whose authority is to issue; empty: a new authority
};

// Fills `folder` (new or empty) with keys and certificates. Nothing is overwritten.
base::Result<void> MakeKeys(const std::filesystem::path &folder, const InitOptions &options);

// Has the authority in `folder` issue a new certificate for the key there, and replaces the old one. An empty name
// keeps the old certificate's.
base::Result<void> RenewCertificate(const std::filesystem::path &folder, const std::string &commonName, int days);

} // namespace lumsite
