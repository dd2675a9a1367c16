#include "delivery/release/ReleaseKey.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <cstddef>
#include <optional>

#include "base/Digest.h"
#include "base/Text.h"
#include "delivery/release/StrictJson.h"

namespace delivery {

namespace {

constexpr std::size_t kMaxPem = 4096; // an RSA key of 4096 bits takes 800 bytes
constexpr int kMinRsaBits = 2048;
constexpr int kMaxRsaBits = 4096; // a larger one only costs time
constexpr std::size_t kMaxSignature = kMaxRsaBits / 8;

struct FreeBio {
    void operator()(BIO *bio) const {
        BIO_free(bio);
    }
};
struct FreeContext {
    void operator()(EVP_MD_CTX *context) const {
        EVP_MD_CTX_free(context);
    }
};

using SharedKey = std::shared_ptr<EVP_PKEY>;

const unsigned char *Bytes(std::string_view text) {
    return reinterpret_cast<const unsigned char *>(text.data());
}

std::string TextAt(const Json::Value &object, const char *name) {
    const Json::Value *value =
        object.isObject() ? object.find(name, name + std::char_traits<char>::length(name)) : nullptr;
    return value && value->isString() ? value->asString() : "";
}

SharedKey ReadEd25519(const std::string &hex) {
    const std::optional<std::string> bytes = base::FromHex(hex);
    if (!bytes || bytes->size() != 32) {
        return nullptr;
    }
    return {EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, Bytes(*bytes), bytes->size()), EVP_PKEY_free};
}

SharedKey ReadPem(const std::string &pem) {
    if (pem.size() > kMaxPem) {
        return nullptr;
    }
    const std::unique_ptr<BIO, FreeBio> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return {bio ? PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr) : nullptr, EVP_PKEY_free};
}

bool IsOnCurve(EVP_PKEY *key, std::string_view curve) {
    char name[64];
    std::size_t length = 0;
    return EVP_PKEY_get_base_id(key) == EVP_PKEY_EC && EVP_PKEY_get_group_name(key, name, sizeof name, &length) == 1 &&
           std::string_view(name, length) == curve;
}

bool IsRsa(EVP_PKEY *key) {
    const int bits = EVP_PKEY_get_bits(key);
    return EVP_PKEY_get_base_id(key) == EVP_PKEY_RSA && bits >= kMinRsaBits && bits <= kMaxRsaBits;
}

std::string Fingerprint(EVP_PKEY *key) {
    unsigned char *der = nullptr;
    const int length = i2d_PUBKEY(key, &der);
    if (length <= 0) {
        return {};
    }
    const std::unique_ptr<unsigned char, void (*)(unsigned char *)> owner(der,
                                                                          [](unsigned char *p) { OPENSSL_free(p); });
    return base::DigestOfText({reinterpret_cast<const char *>(der), static_cast<std::size_t>(length)});
}

} // namespace

ReleaseKey::Scheme ReleaseKey::SchemeOf(const Json::Value &key) {
    const std::string type = TextAt(key, "keytype");
    const std::string scheme = TextAt(key, "scheme");
    if (type == "ed25519" && scheme == "ed25519") {
        return Scheme::Ed25519;
    }
    if (type == "rsa" && scheme == "rsassa-pss-sha256") {
        return Scheme::RsaPssSha256;
    }
    if (type == "ecdsa" || type == scheme) { // older repositories name the scheme in both places
        return scheme == "ecdsa-sha2-nistp256"   ? Scheme::EcdsaSha256
               : scheme == "ecdsa-sha2-nistp384" ? Scheme::EcdsaSha384
                                                 : Scheme::None;
    }
    return Scheme::None;
}

ReleaseKey ReleaseKey::Read(const Json::Value &key) {
    ReleaseKey read;
    read.m_id = base::DigestOfText(CanonicalJson(key));
    const Scheme scheme = SchemeOf(key);
    if (scheme == Scheme::None) {
        return read;
    }
    const std::string value = TextAt(key["keyval"], "public");
    const SharedKey parsed = scheme == Scheme::Ed25519 ? ReadEd25519(value) : ReadPem(value);
    ERR_clear_error();
    const bool fits = parsed && (scheme == Scheme::Ed25519 || (scheme == Scheme::RsaPssSha256 && IsRsa(parsed.get())) ||
                                 (scheme == Scheme::EcdsaSha256 && IsOnCurve(parsed.get(), "prime256v1")) ||
                                 (scheme == Scheme::EcdsaSha384 && IsOnCurve(parsed.get(), "secp384r1")));
    if (fits) {
        read.m_fingerprint = Fingerprint(parsed.get());
        read.m_scheme = scheme;
        read.m_key = parsed;
    }
    return read;
}

bool ReleaseKey::Verify(std::string_view message, std::string_view signature) const {
    if (!m_key || signature.empty() || signature.size() > kMaxSignature) {
        return false;
    }
    const std::unique_ptr<EVP_MD_CTX, FreeContext> context(EVP_MD_CTX_new());
    const EVP_MD *digest = m_scheme == Scheme::Ed25519       ? nullptr
                           : m_scheme == Scheme::EcdsaSha384 ? EVP_sha384()
                                                             : EVP_sha256();
    EVP_PKEY_CTX *options = nullptr; // belongs to the context
    bool ready = context && EVP_DigestVerifyInit(context.get(), &options, digest, nullptr, m_key.get()) == 1;
    if (ready && m_scheme == Scheme::RsaPssSha256) {
        ready = EVP_PKEY_CTX_set_rsa_padding(options, RSA_PKCS1_PSS_PADDING) == 1 &&
                EVP_PKEY_CTX_set_rsa_pss_saltlen(options, RSA_PSS_SALTLEN_AUTO) == 1;
    }
    const bool verified = ready && EVP_DigestVerify(context.get(), Bytes(signature), signature.size(), Bytes(message),
                                                    message.size()) == 1;
    ERR_clear_error();
    return verified;
}

} // namespace delivery
