// The site's keys: a folder that only its owner may enter.
//
//   vendor.key   the private key that signs, PEM, without a pass phrase
//   vendor.pem   the site's own certificate
//   chain.pem    the certificates above it, outermost first; absent when there are none
//   ca.key       only of a demonstration authority: the key of the last certificate in chain.pem
//   ca.pem       its root certificate, for users who want to trust it
//
// A site with a certificate of a real authority provides the first three itself.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/Finding.h"
#include "base/Result.h"
#include "site/keys/Certificates.h"

namespace lumsite {

// What publish uses of a folder of keys.
class SiteKeys {
public:
    // Fails where visitors would be left with a site that cannot be installed: the key file is readable by others, key
    // and certificate do not belong together, the name is not one of the vendor's, the certificate is not valid today.
    static base::Result<SiteKeys> Read(const std::filesystem::path &folder);

    const std::filesystem::path &KeyPath() const {
        return m_keyPath;
    }
    // The site's own certificate is the last.
    const std::vector<Certificate> &chain() const {
        return m_chain;
    }
    // Base64 of the signature over `hashText`, in the form that the extension verifies.
    base::Result<std::string> Sign(const std::string &hashText) const;
    // A warning when the certificate is about to expire.
    const base::Findings &findings() const {
        return m_findings;
    }

private:
    std::filesystem::path m_keyPath;
    std::vector<Certificate> m_chain;
    base::Findings m_findings;
};

} // namespace lumsite
