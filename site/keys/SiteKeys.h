// The site's keys: a folder that only its owner may enter.
//
//   vendor.key   the private key that signs, PEM, without a pass phrase, at most 2045 bytes
//   vendor.pem   the site's own certificate
//   chain.pem    the certificates above it, outermost first; absent when there is none to give
//   ca.key       only of a demonstration authority: the key of the last certificate in chain.pem
//   ca.pem       its root certificate, for whoever wants to trust it
//
// A site with a certificate of a real authority makes the first three itself. All functions throw SiteError.
#pragma once

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "site/keys/Certificates.h"
#include "site/SiteError.h"

namespace lumsite {

constexpr size_t kLongestKeyFile = 2045; // bytes; signing reads no more

struct Validity {
    std::time_t from;
    std::time_t until;
};
// From five minutes ago, for clocks that are a little behind, for `days`.
Validity ForDays(int days);

struct InitOptions {
    std::string commonName;        // of the site's certificate; must obey the vendor's rule
    int days = 365;                // of the site's certificate
    int authorityDays = 3650;      // of the authority
    int intermediates = 0;         // certificates between the root and the site's
    std::filesystem::path issuers; // a folder made earlier, whose authority is to issue; empty: a new authority
};

// Fills `folder` (new or empty) with keys and certificates.
void MakeKeys(const std::filesystem::path &folder, const InitOptions &options);

// Issues a new certificate for the key that is there, by the authority that is there, and puts it in place of the old.
void RenewCertificate(const std::filesystem::path &folder, const std::string &commonName, int days);

// What publish takes from a folder of keys, after the checks that save visitors from a site that cannot be installed:
// permissions, the size of the key file, that key and certificate belong together, the vendor's name, the dates.
class SiteKeys {
public:
    explicit SiteKeys(const std::filesystem::path &folder);

    const std::filesystem::path &keyPath() const {
        return m_keyPath;
    }
    const std::vector<Certificate> &chain() const {
        return m_chain;
    } // the site's own is the last
    // Base64 of the signature over `hashText`, in the form that the extension verifies.
    std::string Sign(const std::string &hashText) const;
    const Findings &findings() const {
        return m_findings;
    }

private:
    std::filesystem::path m_keyPath;
    std::vector<Certificate> m_chain;
    Findings m_findings;
};

// Building blocks of the above, for certificates that obey no rule.
KeyPtr MakeKey();
struct Issuer {
    const Certificate *certificate; // null: the certificate issues itself
    EVP_PKEY *key;
};
Certificate Issue(const std::string &commonName, EVP_PKEY *key, const Issuer &issuer, Validity validity,
                  bool authority);
std::string KeyToPem(EVP_PKEY *key);

} // namespace lumsite
