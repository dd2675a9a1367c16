// Signing as sites do and verifying as the extension does, for code that is plain C++. Main thread only.
#pragma once

#include <memory>
#include <string>

namespace lumsite {

// Raw signature over the bytes of `text` with the RSA key in the PEM file at `keyPath`, or empty when it cannot be
// made. The same bytes as SignDataWithSSL's, also with a key whose file is longer than that reads.
std::string SignText(const std::string &keyPath, const std::string &text);

// The key of the certificate that comes last in a "lumcertification" text.
class SiteCertificateKey {
public:
    explicit SiteCertificateKey(const std::string &certification);
    ~SiteCertificateKey();
    SiteCertificateKey(const SiteCertificateKey &) = delete;
    SiteCertificateKey &operator=(const SiteCertificateKey &) = delete;

    // False when there is no certificate to be read, or its key is not an RSA key. Nothing verifies then.
    bool valid() const;
    bool Verifies(const std::string &hashText, const std::string &base64Signature) const;

private:
    struct Key;
    std::unique_ptr<Key> m_key;
};

} // namespace lumsite
