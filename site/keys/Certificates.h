// Certificates as a site handles them: X.509, read from PEM files or from the page parameter "lumcertification".
//
// "lumcertification" is base64 of DER certificates, joined by "|". The last is the site's own, whose key signs; those
// before it are its chain. The extension accepts the site's certificate when its common name ends with the vendor's
// domain suffix or organisation.
#pragma once

#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"

typedef struct x509_st X509;
typedef struct evp_pkey_st EVP_PKEY;

namespace lumsite {

struct KeyFreer {
    void operator()(EVP_PKEY *key) const;
};
using ScopedKey = std::unique_ptr<EVP_PKEY, KeyFreer>;

// Holds a certificate; copies share it. All times are seconds since 1970, UTC.
class Certificate {
public:
    // Takes ownership.
    explicit Certificate(X509 *certificate);

    X509 *get() const {
        return m_certificate.get();
    }
    std::string Der() const;
    std::string Pem() const;
    std::string Subject() const;
    std::string Issuer() const;
    // The last common name of the subject as UTF-8, or empty.
    std::string CommonName() const;
    std::time_t NotBefore() const;
    std::time_t NotAfter() const;
    bool HasRsaKey() const;
    bool HasKey(EVP_PKEY *key) const;

private:
    std::shared_ptr<X509> m_certificate;
};

// Every certificate of a PEM file, in order; at least one.
base::Result<std::vector<Certificate>> ReadPemCertificates(const std::filesystem::path &path);

// Fails when other users may read or write the key file, or it does not exist (ENOENT).
base::Result<void> CheckKeyIsPrivate(const std::filesystem::path &path);

// The private key of a PEM file without a pass phrase.
base::Result<ScopedKey> ReadPemKey(const std::filesystem::path &path);

// The value of "lumcertification" for a chain whose last certificate is the site's own.
std::string ToCertification(const std::vector<Certificate> &chain);

std::string ToBase64(std::string_view bytes);

// Whether the extension accepts the name as one of the vendor's.
bool IsVendorName(std::string_view commonName);
// "a name that ends with .suffix or Organisation", for messages.
std::string VendorNameRule();

// Why the site's certificate (the last) does not lead to one of the anchors, or empty when it does. The certificates of
// the chain other than the last help to build the path, and count as anchors themselves when `chainIsAnchor` is set.
// `systemRoots` adds the roots that this computer trusts. Dates are judged as of `now`.
std::string ReasonAgainstChain(const std::vector<Certificate> &chain, const std::vector<Certificate> &anchors,
                               bool chainIsAnchor, bool systemRoots, std::time_t now);

// "2031-02-03" of a time, UTC.
std::string DateText(std::time_t time);

} // namespace lumsite
