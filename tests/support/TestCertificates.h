// Certificates made while the tests run.
#pragma once

#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

constexpr std::time_t kDay = 24L * 60 * 60;

enum class KeyKind { P256, Rsa2048, Rsa1024, RsaWithLongExponent };

struct CertificatePlan {
    std::string commonName; // empty: the subject has none
    std::string organisation = "Test";
    std::string commonNameBefore = {}; // a less specific one, if any
    bool isAuthority = false;
    int fromDay = -1; // counted from now
    int toDay = 30;
    KeyKind key = KeyKind::P256;
    bool isSignedWithSha1 = false;
    std::vector<std::string> hosts = {}; // names, or addresses of four numbers, of a server
};

// A certificate with its private key.
class TestCertificate {
public:
    // Signed with its own key.
    explicit TestCertificate(const CertificatePlan &plan);
    TestCertificate(const CertificatePlan &plan, const TestCertificate &issuer);
    // The same, with the last byte of the signature changed.
    TestCertificate Damaged() const;

    const std::string &der() const {
        return m_der;
    }
    std::string Pem() const;
    std::string KeyPem() const;

private:
    struct Key;
    TestCertificate(const CertificatePlan &plan, const TestCertificate *issuer);

    std::shared_ptr<Key> m_key;
    std::string m_der;
};
