// A parsed X.509 certificate: a value that never changes and is cheap to copy. Times are seconds since 1970, UTC.
#pragma once

#include <gnutls/x509.h>

#include <array>
#include <ctime>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace sec {

using ByteSpan = std::span<const unsigned char>;

class Certificate {
public:
    // None when the bytes are not exactly one certificate, or more than any has (256 KiB).
    static std::optional<Certificate> FromDer(ByteSpan der);
    // One certificate as DER, or any number as PEM; what is neither gives none.
    static std::vector<Certificate> FromFileContent(ByteSpan content);

    ByteSpan Der() const {
        return m_parsed->der;
    }
    gnutls_x509_crt_t Handle() const {
        return m_parsed->handle;
    }
    bool operator==(const Certificate &other) const;

    std::time_t NotBefore() const;
    std::time_t NotAfter() const;
    // Names this one as its issuer.
    bool NamesAsIssuer(const Certificate &issuer) const;
    // Whether a check with its key takes so long that a page could make the user wait by it: one of more than 8192
    // bits, or RSA with an exponent of more than 64 bits (libcrypto's limit, too). No authority has such a key.
    bool HasCostlyKey() const;
    // Names it and is signed with its key, which is not a costly one. Says nothing about dates, or whether the issuer
    // may issue certificates.
    bool IsIssuedBy(const Certificate &issuer) const;
    // Signed with its own key.
    bool IsRoot() const;
    std::array<unsigned char, 32> Sha256Fingerprint() const;

private:
    struct Parsed {
        gnutls_x509_crt_t handle = nullptr;
        std::vector<unsigned char> der;
        ~Parsed();
    };
    explicit Certificate(std::shared_ptr<const Parsed> parsed) : m_parsed(std::move(parsed)) {}

    std::shared_ptr<const Parsed> m_parsed;
};

// Whether the certificate is one of these.
bool IsAmong(const Certificate &certificate, std::span<const Certificate> certificates);

} // namespace sec
