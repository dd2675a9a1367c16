#include <gtest/gtest.h>

#import <Foundation/Foundation.h>

#import "lum/security/CryptoWrapper.h"
#include "tests/lum/security/Bytes.h"
#import "tests/lum/security/SecCertificates.h"
#import "tests/support/TempDir.h"

namespace {

std::string NameOf(const CertificatePlan &plan) {
    SecCertificateRef certificate = NewRef(TestCertificate(plan));
    NSString *name = CommonNameOfCert(certificate);
    CFRelease(certificate);
    return name ? [name UTF8String] : "(nil)";
}

bool HasRsaKey(KeyKind kind) {
    SecCertificateRef certificate = NewRef(TestCertificate({.commonName = "x", .key = kind}));
    RSA *key = RSAFromCertification(certificate);
    CFRelease(certificate);
    if (!key) {
        return false;
    }
    [[CryptoWrapper sharedInstance] RSA_free](key);
    return true;
}

TEST(Certificates, ComeFromFilesThatHoldOne) {
    const TempDir folder;
    const TestCertificate certificate({.commonName = "site.kelvo.example"});
    SecCertificateRef read = SecFromFile(folder.Write("site.cer", certificate.der()).c_str());
    ASSERT_NE(read, nullptr);
    CSSM_DATA der = {0, nullptr};
    EXPECT_EQ(SecCertificateGetData(read, &der), noErr);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(der.Data), der.Length), certificate.der());
    CFRelease(read);

    EXPECT_EQ(SecFromFile((folder / "missing").c_str()), nullptr);
    EXPECT_EQ(SecFromFile(folder.path().c_str()), nullptr);
    EXPECT_EQ(SecFromFile(nullptr), nullptr);
    const std::string noCertificates[] = {"", "text", certificate.Pem(), certificate.der() + "more",
                                          certificate.der().substr(0, certificate.der().size() - 1)};
    for (const std::string &content : noCertificates) {
        EXPECT_EQ(SecFromFile(folder.Write("other", content).c_str()), nullptr);
        EXPECT_EQ(SecFromData(DataOf(content)), nullptr);
    }
    EXPECT_EQ(SecFromData(nil), nullptr);
    EXPECT_EQ(SecFromData([NSData data]), nullptr);
}

// The name is compared with the vendor's to the letter, so no escape may slip in.
TEST(Certificates, CommonName) {
    EXPECT_EQ(NameOf({.commonName = "site.kelvo.example"}), "site.kelvo.example");
    EXPECT_EQ(NameOf({.commonName = "Kelvo, Inc."}), "Kelvo, Inc.");
    EXPECT_EQ(NameOf({.commonName = " #\"a+b\"; <Zo\xC3\xAB> "}), " #\"a+b\"; <Zo\xC3\xAB> ");
    EXPECT_EQ(NameOf({.commonName = "last", .commonNameBefore = "first"}), "last");
    EXPECT_EQ(NameOf({.commonName = ""}), "(nil)");
    EXPECT_EQ(CommonNameOfCert(nullptr), nil);
}

TEST(Certificates, RsaKeys) {
    EXPECT_TRUE(HasRsaKey(KeyKind::Rsa2048));
    EXPECT_FALSE(HasRsaKey(KeyKind::P256));
    EXPECT_EQ(RSAFromCertification(nullptr), nullptr);
}

// What the functions above never do to the system's services, but another caller may.
TEST(Certificates, ServicesRefuseNonsense) {
    SecCertificateRef certificate = NewRef(TestCertificate({.commonName = "x"}));
    SecPolicyRef policy = policyForOID(&CSSMOID_APPLE_X509_BASIC);
    SecTrustRef trust = nullptr;
    EXPECT_EQ(SecTrustCreateWithCertificates([NSArray array], policy, &trust), errSecParam);
    EXPECT_EQ(SecTrustCreateWithCertificates([NSArray arrayWithObject:@"x"], policy, &trust), errSecParam);
    ASSERT_EQ(SecTrustCreateWithCertificates(certificate, policy, &trust), noErr);
    EXPECT_EQ(SecTrustGetResult(trust, nullptr, nullptr, nullptr), errSecTrustNotAvailable);
    EXPECT_EQ(SecTrustSetParameters(trust, CSSM_TP_ACTION_DEFAULT, (CFDataRef)[NSData data]), errSecParam);
    EXPECT_EQ(SecTrustSetParameters(trust, 1, nullptr), errSecParam);
    CFRelease(trust);
    CFRelease(policy);
    CFRelease(certificate);
}

} // namespace
