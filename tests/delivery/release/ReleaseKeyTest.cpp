#include "delivery/release/ReleaseKey.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <functional>

#include "base/Digest.h"
#include "base/Text.h"
#include "delivery/release/StrictJson.h"

namespace delivery {
namespace {

using Key = std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY *)>;
constexpr std::string_view kMessage = "what is signed";

Key Generated(EVP_PKEY *key) {
    return {key, EVP_PKEY_free};
}

std::string Pem(EVP_PKEY *key) {
    const std::unique_ptr<BIO, int (*)(BIO *)> bio(BIO_new(BIO_s_mem()), BIO_free);
    PEM_write_bio_PUBKEY(bio.get(), key);
    char *text = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

std::string Raw(EVP_PKEY *key) {
    std::string bytes(32, '\0');
    std::size_t size = bytes.size();
    EVP_PKEY_get_raw_public_key(key, reinterpret_cast<unsigned char *>(bytes.data()), &size);
    return base::ToHex(bytes);
}

Json::Value Described(const std::string &type, const std::string &scheme, const std::string &value) {
    Json::Value key;
    key["keytype"] = type;
    key["scheme"] = scheme;
    key["keyval"]["public"] = value;
    return key;
}

// `salt`: of RSA-PSS; 0 is one of the lengths, and nothing else than RSA has one.
std::string Sign(EVP_PKEY *key, const EVP_MD *digest, std::optional<int> salt) {
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX *)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_PKEY_CTX *options = nullptr;
    EVP_DigestSignInit(context.get(), &options, digest, nullptr, key);
    if (salt) {
        EVP_PKEY_CTX_set_rsa_padding(options, RSA_PKCS1_PSS_PADDING);
        EVP_PKEY_CTX_set_rsa_pss_saltlen(options, *salt);
    }
    std::string signature(1024, '\0');
    std::size_t size = signature.size();
    EVP_DigestSign(context.get(), reinterpret_cast<unsigned char *>(signature.data()), &size,
                   reinterpret_cast<const unsigned char *>(kMessage.data()), kMessage.size());
    signature.resize(size);
    return signature;
}

TEST(ReleaseKey, KindsThatCount) {
    const Key ed = Generated(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
    const Key p256 = Generated(EVP_EC_gen("P-256"));
    const Key p384 = Generated(EVP_EC_gen("P-384"));
    const Key k256 = Generated(EVP_EC_gen("secp256k1"));
    const Key rsa2048 = Generated(EVP_RSA_gen(2048));
    const Key rsa1024 = Generated(EVP_RSA_gen(1024));
    const std::string pss = "rsassa-pss-sha256";
    const std::string nist256 = "ecdsa-sha2-nistp256";
    const std::string nist384 = "ecdsa-sha2-nistp384";
    struct {
        const char *name;
        Json::Value key;
        std::string signature;
        bool counts;
    } const cases[] = {
        {"ed25519", Described("ed25519", "ed25519", Raw(ed.get())), Sign(ed.get(), nullptr, {}), true},
        {"P-256", Described("ecdsa", nist256, Pem(p256.get())), Sign(p256.get(), EVP_sha256(), {}), true},
        {"older name", Described(nist256, nist256, Pem(p256.get())), Sign(p256.get(), EVP_sha256(), {}), true},
        {"P-384", Described("ecdsa", nist384, Pem(p384.get())), Sign(p384.get(), EVP_sha384(), {}), true},
        {"RSA", Described("rsa", pss, Pem(rsa2048.get())), Sign(rsa2048.get(), EVP_sha256(), 32), true},
        {"no salt", Described("rsa", pss, Pem(rsa2048.get())), Sign(rsa2048.get(), EVP_sha256(), 0), true},
        {"long salt", Described("rsa", pss, Pem(rsa2048.get())), Sign(rsa2048.get(), EVP_sha256(), -2), true},
        {"RSA, old padding", Described("rsa", pss, Pem(rsa2048.get())), Sign(rsa2048.get(), EVP_sha256(), {}), false},
        {"RSA, short", Described("rsa", pss, Pem(rsa1024.get())), Sign(rsa1024.get(), EVP_sha256(), 32), false},
        {"other digest", Described("ecdsa", nist384, Pem(p384.get())), Sign(p384.get(), EVP_sha256(), {}), false},
        {"other curve", Described("ecdsa", nist256, Pem(p384.get())), Sign(p384.get(), EVP_sha256(), {}), false},
        {"curve of that size", Described("ecdsa", nist256, Pem(k256.get())), Sign(k256.get(), EVP_sha256(), {}), false},
        {"RSA as ECDSA", Described("ecdsa", nist256, Pem(rsa2048.get())), Sign(rsa2048.get(), EVP_sha256(), {}), false},
        {"unknown scheme", Described("ed25519", "ed448", Raw(ed.get())), Sign(ed.get(), nullptr, {}), false},
        {"not hexadecimal", Described("ed25519", "ed25519", "z"), "x", false},
        {"no key", Json::Value(7), "x", false},
        {"no value", Described("rsa", pss, ""), "x", false},
        {"long value", Described("rsa", pss, Pem(rsa2048.get()) + std::string(5000, '\n')),
         Sign(rsa2048.get(), EVP_sha256(), 32), false},
    };
    for (const auto &c : cases) {
        const ReleaseKey key = ReleaseKey::Read(c.key);
        EXPECT_EQ(key.Verify(kMessage, c.signature), c.counts) << c.name;
        EXPECT_FALSE(key.Verify("another message", c.signature)) << c.name;
        EXPECT_FALSE(key.Verify(kMessage, "")) << c.name;
        EXPECT_FALSE(key.Verify(kMessage, c.signature + "x")) << c.name;
        EXPECT_EQ(key.id(), base::DigestOfText(CanonicalJson(c.key))) << c.name;
    }
}

TEST(ReleaseKey, OneKeyUnderTwoIdsIsOneKey) {
    Json::Value key =
        Described("ed25519", "ed25519", Raw(Generated(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519")).get()));
    const ReleaseKey one = ReleaseKey::Read(key);
    key["note"] = "the same once more";
    const ReleaseKey other = ReleaseKey::Read(key);
    EXPECT_NE(one.id(), other.id());
    EXPECT_EQ(one.fingerprint(), other.fingerprint());
    EXPECT_FALSE(one.fingerprint().empty());
}

} // namespace
} // namespace delivery
