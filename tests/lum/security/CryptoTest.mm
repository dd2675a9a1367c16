#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <map>

#import <Foundation/Foundation.h>

#import "lum/security/Decoders.h"
#include "tests/lum/security/Bytes.h"
#import "tests/lum/security/OpenSsl.h"
#import "tests/lum/security/SharedCrypto.h"
#import "tests/lum/security/SecCertificates.h"
#import "tests/support/TempDir.h"

namespace {

// What each accessor answers, by name.
std::map<std::string, const void *> Addresses(CryptoWrapper *crypto) {
    std::map<std::string, const void *> addresses;
#define ADD(name) addresses[#name] = reinterpret_cast<const void *>([crypto name]);
    LUM_CRYPTO_FUNCTIONS(ADD)
#undef ADD
    return addresses;
}

template <typename Function> std::string FileOf(Function *function) {
    Dl_info info = {};
    return dladdr(reinterpret_cast<const void *>(function), &info) ? info.dli_fname : "";
}

std::string SystemLibrary() {
    return FileOf([[CryptoWrapper sharedInstance] SHA256_Init]);
}

bool IsOneOf(const std::string &name, std::initializer_list<const char *> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string Sha1Of(CryptoWrapper *crypto, std::string_view text) {
    SHA_CTX context;
    unsigned char digest[SHA_DIGEST_LENGTH];
    [crypto SHA_Init](&context);
    [crypto SHA1_Update](&context, text.data(), text.size());
    [crypto SHA1_Final](digest, &context);
    return {reinterpret_cast<char *>(digest), sizeof digest};
}

TEST(Crypto, IsSharedUntilDestroyed) {
    [CryptoWrapper destorySharedInstance];
    EXPECT_EQ(g_sharedCryptoInstance, nil);
    CryptoWrapper *first = [[CryptoWrapper sharedInstance] retain];
    EXPECT_EQ([CryptoWrapper sharedInstance], first);
    EXPECT_EQ(g_sharedCryptoInstance, first);
    [CryptoWrapper destorySharedInstance];
    EXPECT_EQ(g_sharedCryptoInstance, nil);
    EXPECT_NE([CryptoWrapper sharedInstance], first);
    EXPECT_NE([[CryptoWrapper sharedInstance] RSA_sign], nullptr);
    [first release];
}

TEST(Crypto, SystemLibraryHasEveryFunction) {
    for (const auto &[name, address] : Addresses([CryptoWrapper sharedInstance])) {
        EXPECT_NE(address, nullptr) << name;
    }
    EXPECT_EQ(Sha1Of([CryptoWrapper sharedInstance], "abc"),
              DecodeHexadecimal("a9993e364706816aba3e25717850c26c9cd0d89d"));
}

TEST(Crypto, OpensTheFirstLibraryThatOpens) {
    const std::string system = SystemLibrary();
    const char *const paths[] = {"/no/such/library", OLD_CRYPTO, system.c_str(), nullptr};
    CryptoWrapper *crypto = [[CryptoWrapper alloc] initWithLibraryPaths:paths lookUp:dlsym];
    EXPECT_EQ([crypto SHA_Init](nullptr), 70);
    EXPECT_EQ([crypto SHA1_Update], nullptr);
    [crypto release];
}

// Every use fails as its header says, and none crashes.
void ExpectDeafness(const TempDir &folder) {
    SecCertificateRef certificate = NewRef(TestCertificate({.commonName = "x", .key = KeyKind::Rsa2048}));
    testing::internal::CaptureStderr();
    EXPECT_EQ(DecodeBase64("YWJj"), "");
    EXPECT_EQ([[@"YWJj" base64Decode] length], 0u);
    EXPECT_EQ(RSAFromCertification(certificate), nullptr);
    EXPECT_FALSE(VerifyBytes(reinterpret_cast<rsa_st *>(&certificate), "text", "signature"));
    EXPECT_EQ(SignBytes((folder / "key.pem").c_str(), "text"), std::nullopt);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    CFRelease(certificate);
}

TEST(Crypto, MissingLibrary) {
    const TempDir folder;
    NewRsaKey(folder, 2048);
    const SharedCrypto crypto("/no/such/library");
    for (const auto &[name, address] : Addresses(crypto())) {
        EXPECT_EQ(address, nullptr) << name;
    }
    ExpectDeafness(folder);
}

TEST(Crypto, LibraryWithoutAnyFunction) {
    const TempDir folder;
    NewRsaKey(folder, 2048);
    const SharedCrypto crypto("libm.so.6");
    for (const auto &[name, address] : Addresses(crypto())) {
        EXPECT_EQ(address, nullptr) << name;
    }
    ExpectDeafness(folder);
}

// What needs the function fails, and nothing crashes; the other uses go on.
TEST(Crypto, MissingFunction) {
    const TempDir folder;
    const std::string keyFile = NewRsaKey(folder, 2048);
    const std::string library = SystemLibrary();
    SecCertificateRef certificate = NewRef(TestCertificate({.commonName = "x", .key = KeyKind::Rsa2048}));
    const Lum_RSA_free freeKey = [[CryptoWrapper sharedInstance] RSA_free];
    for (const auto &[hidden, ignored] : Addresses([CryptoWrapper sharedInstance])) {
        const SharedCrypto crypto(library.c_str(), hidden);
        for (const auto &[name, address] : Addresses(crypto())) {
            EXPECT_EQ(address == nullptr, name == hidden && name != "SHA_Init") << name << " without " << hidden;
        }
        if (hidden == "BIO_set_flags") {
            continue; // its stand-in is for libraries of another kind
        }
        RSA *key = RSAFromCertification(certificate);
        const auto signature = SignBytes(keyFile.c_str(), "text");
        EXPECT_EQ(key != nullptr,
                  !IsOneOf(hidden, {"d2i_X509", "X509_get_pubkey", "X509_free", "EVP_PKEY_free", "EVP_PKEY_get1_RSA"}))
            << hidden;
        // Without RSA_verify the library cannot be asked about the digest type.
        EXPECT_EQ(signature.has_value(), !IsOneOf(hidden, {"RSA_sign", "RSA_verify", "RSA_free", "BIO_new_mem_buf",
                                                           "BIO_free", "PEM_read_bio_RSAPrivateKey"}))
            << hidden;
        EXPECT_EQ(DecodeBase64("YWJj").empty(), IsOneOf(hidden, {"BIO_new_mem_buf", "BIO_new", "BIO_f_base64",
                                                                 "BIO_push", "BIO_read", "BIO_free_all"}))
            << hidden;
        EXPECT_FALSE(VerifyBytes(key, "text", signature.value_or(""))); // of another key
        if (key) {
            freeKey(key);
        }
    }
    CFRelease(certificate);
}

// Those that know the type keep their own functions, and so do those that cannot be helped.
TEST(Crypto, DigestTypeOfSites) {
    const std::string system = SystemLibrary();
    EXPECT_EQ(FileOf([[CryptoWrapper sharedInstance] RSA_verify]), FileOf(&SignDataWithSSL));
    EXPECT_EQ(FileOf([[CryptoWrapper sharedInstance] RSA_sign]), FileOf(&SignDataWithSSL));
    for (const char *hidden : {"RSA_size", "RSA_public_decrypt", "RSA_private_encrypt", "d2i_RSAPublicKey"}) {
        const SharedCrypto crypto(system.c_str(), hidden);
        EXPECT_EQ(FileOf([crypto() RSA_verify]), system) << hidden;
        EXPECT_EQ(FileOf([crypto() RSA_sign]), system) << hidden;
    }
    const SharedCrypto old(OLD_CRYPTO);
    EXPECT_EQ(FileOf([old() RSA_verify]), OLD_CRYPTO);
    EXPECT_EQ(FileOf([old() RSA_sign]), OLD_CRYPTO);
}

TEST(Crypto, OtherDigestTypesAreTheLibrarysOwn) {
    const TempDir folder;
    CryptoWrapper *crypto = [CryptoWrapper sharedInstance];
    const std::string pem = ReadFile(NewRsaKey(folder, 2048));
    BIO *stream = [crypto BIO_new_mem_buf](pem.data(), static_cast<int>(pem.size()));
    RSA *key = [crypto PEM_read_bio_RSAPrivateKey](stream, nullptr, nullptr, nullptr);
    [crypto BIO_free](stream);
    ASSERT_NE(key, nullptr);
    constexpr int kSha256 = 672;
    const std::vector<unsigned char> digest(32, 7);
    unsigned char signature[256];
    unsigned int length = 0;
    EXPECT_EQ([crypto RSA_sign](kSha256, digest.data(), 32, signature, &length, key), 1);
    EXPECT_EQ([crypto RSA_verify](kSha256, digest.data(), 32, signature, length, key), 1);
    EXPECT_EQ([crypto RSA_verify](115, digest.data(), 32, signature, length, key), 0);
    [crypto RSA_free](key);
}

// Libraries in which BIO_set_flags is a macro.
TEST(Crypto, SetsTheFlagItselfWithoutTheFunction) {
    const SharedCrypto old(OLD_CRYPTO);
    ASSERT_EQ([old() BIO_set_flags], nullptr);
    EXPECT_EQ(DecodeBase64("no line break"), "no line break");
}

} // namespace
