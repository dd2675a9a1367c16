#include "site/keys/Signatures.h"

#include <cstdint>
#include <filesystem>
#include <utility>

#import <Foundation/Foundation.h>

#include "base/Files.h"
#include "base/objc/ScopedPool.h"
#include "lum/security/CryptoWrapper.h"
#include "lum/security/CertificateServices.h"
#include "lum/security/Decoders.h"
#include "lum/security/Sha1WithRsa.h"

namespace lumsite {

namespace {

using base::ScopedPool;

// The extension logs a signature that does not verify; here the caller reports it.
class ScopedSilentLog {
public:
    ScopedSilentLog() : m_before(std::exchange(_NSLog_printf_handler, [](NSString *) {})) {}
    ~ScopedSilentLog() {
        _NSLog_printf_handler = m_before;
    }
    ScopedSilentLog(const ScopedSilentLog &) = delete;
    ScopedSilentLog &operator=(const ScopedSilentLog &) = delete;

private:
    NSLog_printf_handler *m_before;
};

NSData *DataOf(const std::string &bytes) {
    return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

std::string BytesOf(NSData *data) {
    return {static_cast<const char *>([data bytes]), [data length]};
}

constexpr std::uintmax_t kReadOfKeyFile = 2045; // bytes; SignDataWithSSL cuts a longer file
constexpr std::uint64_t kLargestKeyFile = 1 << 16;
constexpr std::size_t kLongestSignature = 4096;

// What SignDataWithSSL does, for a key of which it would read a part only.
std::string SignWithWholeFile(const std::string &keyPath, const std::string &text) {
    CryptoWrapper *crypto = [CryptoWrapper sharedInstance];
    const base::Result<std::string> pem = base::ReadWhole(keyPath, kLargestKeyFile);
    BIO *stream = pem ? [crypto BIO_new_mem_buf](pem->data(), static_cast<int>(pem->size())) : nullptr;
    if (!stream) {
        return "";
    }
    RSA *key = [crypto PEM_read_bio_RSAPrivateKey](stream, nullptr, nullptr, nullptr);
    [crypto BIO_free](stream);
    if (!key) {
        return "";
    }
    std::string signature(kLongestSignature, '\0');
    unsigned int length = 0;
    const int isSigned = [crypto RSA_sign](kSha1WithRsa, reinterpret_cast<const unsigned char *>(text.data()),
                                           static_cast<unsigned int>(text.size()),
                                           reinterpret_cast<unsigned char *>(signature.data()), &length, key);
    [crypto RSA_free](key);
    return isSigned ? signature.substr(0, length) : "";
}

} // namespace

std::string SignText(const std::string &keyPath, const std::string &text) {
    const ScopedPool pool;
    std::error_code error;
    if (std::filesystem::file_size(keyPath, error) > kReadOfKeyFile && !error) {
        return SignWithWholeFile(keyPath, text);
    }
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
    const ScopedSilentLog silent;
    return valid() && verifyDataWithSSL(m_key->rsa, DataOf(hashText), DataOf(DecodeBase64(base64Signature)));
}

} // namespace lumsite
