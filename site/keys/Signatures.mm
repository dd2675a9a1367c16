#include "site/keys/Signatures.h"

#import <Foundation/Foundation.h>

#include "base/objc/ScopedPool.h"
#include "lum/security/CryptoWrapper.h"
#include "lum/security/CertificateServices.h"
#include "lum/security/Decoders.h"

namespace lumsite {

namespace {

using base::ScopedPool;

NSData *DataOf(const std::string &bytes) {
    return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

std::string BytesOf(NSData *data) {
    return {static_cast<const char *>([data bytes]), [data length]};
}

} // namespace

std::string SignText(const std::string &keyPath, const std::string &text) {
    const ScopedPool pool;
    NSData *signature = SignDataWithSSL(keyPath.c_str(), DataOf(text));
    return signature ? BytesOf(signature) : "";
}

struct SiteCertificateKey::Key {
    rsa_st *rsa = nullptr;
    ~Key() {
        if (rsa) {
            [[CryptoWrapper sharedInstance] RSA_free](rsa);
        }
    }
};

SiteCertificateKey::SiteCertificateKey(const std::string &certification) : m_key(std::make_unique<Key>()) {
    const ScopedPool pool;
    const std::string der = DecodeBase64(certification.substr(certification.rfind('|') + 1));
    const SecCertificateRef certificate = SecFromData(DataOf(der));
    if (certificate) {
        m_key->rsa = RSAFromCertification(certificate);
        CFRelease(certificate);
    }
}

SiteCertificateKey::~SiteCertificateKey() = default;

bool SiteCertificateKey::valid() const {
    return m_key->rsa != nullptr;
}

bool SiteCertificateKey::Verifies(const std::string &hashText, const std::string &base64Signature) const {
    const ScopedPool pool;
    return valid() && verifyDataWithSSL(m_key->rsa, DataOf(hashText), DataOf(DecodeBase64(base64Signature)));
}

} // namespace lumsite
