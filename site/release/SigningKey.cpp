#include "site/release/SigningKey.h"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <cstdint>
#include <memory>

#include "base/Files.h"
#include "base/Text.h"
#include "delivery/release/ReleaseKey.h"

namespace lumsite {

namespace {

using base::Fail;
using base::Result;

constexpr unsigned kRsaBits = 3072;
constexpr std::uint64_t kLargestPem = 1 << 16;

struct BioFreer {
    void operator()(BIO *bio) const {
        BIO_free_all(bio);
    }
};
using ScopedBio = std::unique_ptr<BIO, BioFreer>;
using ScopedContext = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

std::string TextOf(BIO *bio) {
    char *data = nullptr;
    const long length = BIO_get_mem_data(bio, &data);
    return {data, static_cast<std::size_t>(length)};
}

Json::Value Describe(const char *type, const char *scheme, const std::string &value) {
    Json::Value described;
    described["keytype"] = type;
    described["scheme"] = scheme;
    described["keyval"]["public"] = value;
    return described;
}

std::string PublicPem(EVP_PKEY *key) {
    const ScopedBio out(BIO_new(BIO_s_mem()));
    PEM_write_bio_PUBKEY(out.get(), key);
    return TextOf(out.get());
}

std::string RawPublicKey(EVP_PKEY *key) {
    std::string bytes(64, '\0');
    std::size_t size = bytes.size();
    EVP_PKEY_get_raw_public_key(key, reinterpret_cast<unsigned char *>(bytes.data()), &size);
    bytes.resize(size);
    return bytes;
}

const EVP_MD *DigestFor(EVP_PKEY *key) {
    if (EVP_PKEY_get_base_id(key) == EVP_PKEY_ED25519) {
        return nullptr; // part of the scheme
    }
    const bool isLong = EVP_PKEY_get_base_id(key) == EVP_PKEY_EC && EVP_PKEY_get_bits(key) > 256;
    return isLong ? EVP_sha384() : EVP_sha256();
}

} // namespace

Result<ScopedKey> MakeSigningKey(SigningKeyType type) {
    ScopedKey key(type == SigningKeyType::Rsa     ? EVP_RSA_gen(kRsaBits)
                  : type == SigningKeyType::Ecdsa ? EVP_EC_gen("P-256")
                                                  : EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
    if (!key) {
        return Fail("the crypto library cannot make a key");
    }
    return key;
}

Result<std::string> SigningKeyToPem(EVP_PKEY *key) {
    const ScopedBio out(BIO_new(BIO_s_mem()));
    if (PEM_write_bio_PKCS8PrivateKey(out.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        return Fail("the crypto library cannot write the key");
    }
    return TextOf(out.get());
}

Result<Json::Value> DescribeKey(EVP_PKEY *key) {
    Json::Value described;
    switch (EVP_PKEY_get_base_id(key)) {
    case EVP_PKEY_ED25519:
        described = Describe("ed25519", "ed25519", base::ToHex(RawPublicKey(key)));
        break;
    case EVP_PKEY_EC:
        described = Describe("ecdsa", EVP_PKEY_get_bits(key) > 256 ? "ecdsa-sha2-nistp384" : "ecdsa-sha2-nistp256",
                             PublicPem(key));
        break;
    default:
        described = Describe("rsa", "rsassa-pss-sha256", PublicPem(key));
    }
    if (delivery::ReleaseKey::Read(described).fingerprint().empty()) { // the client's own judgement
        return Fail("the key is none that can sign a release; use ed25519, ECDSA over P-256 or P-384, or RSA of 2048 "
                    "to 4096 bits");
    }
    return described;
}

Result<Json::Value> DescribePublicKeyFile(const std::filesystem::path &file) {
    const Result<std::string> text = base::ReadWhole(file, kLargestPem);
    if (!text) {
        return Fail(text.error());
    }
    const ScopedBio in(BIO_new_mem_buf(text->data(), static_cast<int>(text->size())));
    const ScopedKey key(PEM_read_bio_PUBKEY(in.get(), nullptr, nullptr, nullptr));
    ERR_clear_error();
    if (!key) {
        return Fail(file.string() +
                    " does not contain a public key; it must be PEM text (-----BEGIN PUBLIC KEY-----), for example of "
                    "\"openssl pkey -pubout\"");
    }
    return DescribeKey(key.get()).map_error([&](base::Error error) {
        error.text = file.string() + ": " + error.text;
        return error;
    });
}

Result<std::string> SignWithKey(EVP_PKEY *key, std::string_view bytes) {
    const ScopedContext context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_PKEY_CTX *options = nullptr; // belongs to the context
    bool ready = EVP_DigestSignInit(context.get(), &options, DigestFor(key), nullptr, key) == 1;
    if (ready && EVP_PKEY_get_base_id(key) == EVP_PKEY_RSA) {
        ready = EVP_PKEY_CTX_set_rsa_padding(options, RSA_PKCS1_PSS_PADDING) == 1 &&
                EVP_PKEY_CTX_set_rsa_pss_saltlen(options, RSA_PSS_SALTLEN_DIGEST) == 1;
    }
    std::string signature(static_cast<std::size_t>(EVP_PKEY_get_size(key)), '\0');
    std::size_t size = signature.size();
    ready = ready && EVP_DigestSign(context.get(), reinterpret_cast<unsigned char *>(signature.data()), &size,
                                    reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size()) == 1;
    ERR_clear_error();
    if (!ready) {
        return Fail("the crypto library cannot sign with the key");
    }
    signature.resize(size);
    return signature;
}

} // namespace lumsite
