// Test certificates as the platform's own objects.
#pragma once

#include <Security/Security.h>

#include "lum/platform/linux/trust/Certificate.h"
#include "tests/support/TestCertificates.h"

inline sec::Certificate Parsed(const TestCertificate &certificate) {
    const std::string &der = certificate.der();
    return *sec::Certificate::FromDer({reinterpret_cast<const unsigned char *>(der.data()), der.size()});
}

inline std::vector<sec::Certificate> Parsed(const std::vector<TestCertificate> &certificates) {
    std::vector<sec::Certificate> parsed;
    for (const TestCertificate &certificate : certificates) {
        parsed.push_back(Parsed(certificate));
    }
    return parsed;
}

// The caller's.
inline SecCertificateRef NewRef(const TestCertificate &certificate) {
    const std::string &bytes = certificate.der();
    const CSSM_DATA der = {bytes.size(), reinterpret_cast<uint8_t *>(const_cast<char *>(bytes.data()))};
    SecCertificateRef made = nullptr;
    SecCertificateCreateFromData(&der, CSSM_CERT_X_509_ATTRIBUTE, CSSM_CERT_ENCODING_DER, &made);
    return made;
}
