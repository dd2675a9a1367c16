// What a page and an instruction file bring to prove where a package comes from. Input: the text of the hash, the
// signature in base64, then the certificate's DER.
#import <Foundation/Foundation.h>

#include "fuzz/Check.h"
#import "base/objc/ScopedPool.h"
#import "lum/security/CryptoWrapper.h"
#include "lum/security/CertificateServices.h"

namespace {

NSData *Data(std::string_view bytes) {
    return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

void Verify(rsa_st *key, const std::string &hash, const std::string &signature) {
    NSData *bytes = [[NSString stringWithUTF8String:signature.c_str()] base64Decode];
    if (verifyDataWithSSL(key, Data(hash), bytes)) {
        Require(!verifyDataWithSSL(key, Data(hash + "0"), bytes), "a signature is good for one text only");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const base::ScopedPool pool;
    std::string_view rest = InputText(data, size);
    const std::string hash = TakeLine(rest);
    const std::string signature = TakeLine(rest);
    SecCertificateRef certificate = SecFromData(Data(rest));
    if (!certificate) {
        return 0;
    }
    [CommonNameOfCert(certificate) UTF8String];
    rsa_st *key = RSAFromCertification(certificate);
    CFRelease(certificate);
    if (!key) {
        return 0;
    }
    Verify(key, hash, signature);
    [[CryptoWrapper sharedInstance] RSA_free](key);
    return 0;
}
