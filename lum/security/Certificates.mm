// Certificates: made from bytes, and what is read out of them.
#include <vector>

#include "base/Files.h"
#import "base/objc/ScopedPool.h"
#import "lum/security/CryptoWrapper.h"
#import "lum/security/CertificateServices.h"
#import "lum/security/KeptAllocated.h"

#import <Foundation/Foundation.h>

namespace {

// More than any certificate.
constexpr std::uint64_t kLargestFile = 16 * 1024 * 1024;

bool CanTakeOutKey(CryptoWrapper *crypto) {
    return [crypto d2i_X509] && [crypto X509_get_pubkey] && [crypto X509_free] && [crypto EVP_PKEY_get1_RSA] &&
           [crypto EVP_PKEY_free];
}

} // namespace

SecCertificateRef SecFromFile(const char *path) {
    if (!path) {
        return nullptr;
    }
    const base::ScopedPool pool;
    const base::Result<std::string> der = base::ReadWhole(path, kLargestFile);
    return der ? SecFromData([NSData dataWithBytes:der->data() length:der->size()]) : nullptr;
}

SecCertificateRef SecFromData(NSData *data) {
    if (!data) {
        return nullptr;
    }
    auto *bytes = static_cast<uint8_t *>(const_cast<void *>([data bytes]));
    const CSSM_DATA descriptor = {[data length], bytes};
    SecCertificateRef certificate = nullptr;
    // The type is that of an attribute certificate, which the target's service takes for any. The output alone tells
    // whether it worked.
    SecCertificateCreateFromData(&descriptor, CSSM_CERT_X_509_ATTRIBUTE, CSSM_CERT_ENCODING_DER, &certificate);
    return certificate;
}

NSString *CommonNameOfCert(SecCertificateRef cert) {
    if (!cert) {
        return nil;
    }
    CFStringRef name = nullptr;
    SecCertificateCopyCommonName(cert, &name);
    return [(NSString *)name autorelease];
}

rsa_st *RSAFromCertification(SecCertificateRef cert) {
    CryptoWrapper *crypto = [CryptoWrapper sharedInstance];
    CSSM_DATA der = {0, nullptr};
    if (!cert || !CanTakeOutKey(crypto) || SecCertificateGetData(cert, &der) != noErr || der.Length == 0) {
        return nullptr;
    }
    const std::vector<unsigned char> copy(der.Data, der.Data + der.Length);
    const unsigned char *bytes = copy.data();
    X509 *parsed = [crypto d2i_X509](nullptr, &bytes, static_cast<long>(copy.size()));
    if (!parsed) {
        return nullptr;
    }
    EVP_PKEY *publicKey = [crypto X509_get_pubkey](parsed);
    if (!publicKey) {
        KeepAllocated(parsed);
        return nullptr;
    }
    [crypto X509_free](parsed);
    RSA *rsa = [crypto EVP_PKEY_get1_RSA](publicKey);
    [crypto EVP_PKEY_free](publicKey);
    return rsa;
}
