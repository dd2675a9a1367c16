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
    int bits = 2048;               // of each key
    int intermediates = 0;         // certificates between the root and the site's
    std::filesystem::path issuers; // a folder made earlier, whose authority is to issue; empty: a new authority
};

// Makes a folder that only its owner may enter, or takes an empty one. Refuses what is inside a published folder, where
// visitors could download the keys.
base::Result<void> TakeKeyFolder(const std::filesystem::path &folder);

// Fills `folder` (new or empty) with keys and certificates. Nothing is overwritten.
base::Result<void> MakeKeys(const std::filesystem::path &folder, const InitOptions &options);

// Has the authority in `folder` issue a new certificate for the key there, and replaces the old one. An empty name
// keeps the old certificate's.
base::Result<void> RenewCertificate(const std::filesystem::path &folder, const std::string &commonName, int days);

} // namespace lumsite
