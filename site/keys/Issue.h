// Making keys and certificates, also ones that the vendor's rule for names forbids.
#pragma once

#include <ctime>
#include <string>

#include "base/Result.h"
#include "site/keys/Certificates.h"

namespace lumsite {

struct Validity {
    std::time_t from;
    std::time_t until;
};
// Of so many days; begins five minutes ago, for clocks that are a little behind.
Validity ForDays(int days);

// An RSA key.
base::Result<ScopedKey> MakeKey(int bits = 2048);
// PEM, without a pass phrase.
base::Result<std::string> KeyToPem(EVP_PKEY *key);

struct Issuer {
    const Certificate *certificate; // null: the certificate issues itself
    EVP_PKEY *key;
};
// `authority`: the certificate may issue others.
base::Result<Certificate> Issue(const std::string &commonName, EVP_PKEY *key, const Issuer &issuer, Validity validity,
                                bool authority);

} // namespace lumsite
