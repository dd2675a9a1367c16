// Certificates made while the tests run.
#pragma once

#include <Security/Security.h>

#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "lum/platform/linux/trust/Certificate.h"

constexpr std::time_t kDay = 24L * 60 * 60;

enum class KeyKind { P256, Rsa2048, Rsa1024 };

struct CertificatePlan {
    std::string commonName; // empty: the subject has none
    std::string organisation = "Test";
    std::string commonNameBefore = {}; // a less specific one, if any
    bool isAuthority = false;
    int fromDay = -1; // counted from now
    int toDay = 30;
    KeyKind key = KeyKind::P256;
    bool isSignedWithSha1 = false;
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
    sec::Certificate Parsed() const;
    // The caller's.
    SecCertificateRef NewRef() const;

private:
    struct Key;
    TestCertificate(const CertificatePlan &plan, const TestCertificate *issuer);

    std::shared_ptr<Key> m_key;
    std::string m_der;
};

std::vector<sec::Certificate> Parsed(const std::vector<TestCertificate> &certificates);
