#include "lum/lumext/Integrity.h"

#include <Carbon/Carbon.h>

#import <Foundation/Foundation.h>

#include <optional>

#import "base/objc/ScopedPool.h"
#include "lum/common/lumutil.h"
#import "lum/security/CryptoWrapper.h"
#include "lum/security/CertificateServices.h"

namespace {

using Refusal = std::optional<InstallResult>;
constexpr Refusal kPassed;
constexpr Refusal kHashFailure = InstallResult::GeneralFailure;
constexpr Refusal kCertificationFailure = InstallResult::NotAuthentic;
constexpr SInt32 kFirstSystemWithSha256 = 0x1060;
constexpr std::size_t kShortestCertification = 11;

Refusal CheckMaterial(const CItem &item, const std::string &siteLock) {
    const bool complete =
        !item.m_strHashValue.empty() && !item.m_strHashMethod.empty() && !item.m_strCertification.empty();
    if (complete) {
        return kPassed;
    }
    if (siteLock == "0") {
        MacErrorTrace("lumsitelock is 0 means it run not check domain mode. we will check hashvalue of current package "
                      "but hash or certification is invalid!");
    } else if (item.m_strHashValue.empty()) {
        MacErrorTrace("LumInstallationMgr::DoItemInstallation,Check domain is pass, but Hash value is nil!");
    } else if (item.m_strHashMethod.empty()) {
        MacErrorTrace("LumInstallationMgr::DoItemInstallation,Check domain is pass, but Algorithms is nil!");
    } else {
        MacErrorTrace("LumInstallationMgr::DoItemInstallation,Check domain is pass, but Certification is nil!");
    }
    return kCertificationFailure;
}

// The hash of the file by the item's method: none when the comparison is to be skipped, empty when there is no such
// method or no such file.
std::optional<std::string> LocalHash(const CItem &item, const char *file) {
    if (item.m_strHashMethod == "sha1") {
        return Sha1OfFile(file);
    }
    if (item.m_strHashMethod != "sha256") {
        return std::string();
    }
    SInt32 systemVersion = 0;
    Gestalt(gestaltSystemVersion, &systemVersion);
    if (systemVersion < kFirstSystemWithSha256) {
        MacWarnTrace("10.5 system not support sha256. we just ignore this hash value compare");
        return std::nullopt;
    }
    return Sha256OfFile(file);
}

Refusal CompareHash(const CItem &item, const std::string &local) {
    if (local.empty()) {
        MacErrorTrace("hash value of %s is empty", item.m_strName.c_str());
        return kHashFailure;
    }
    MacInfoTrace("hasvalue of %s is %s", item.m_strName.c_str(), local.c_str());
    if (local != item.m_strHashValue) {
        MacErrorTrace("hash value not same, local=%s, remote = %s", local.c_str(), item.m_strHashValue.c_str());
        return kHashFailure;
    }
    MacInfoTrace("%s's hash value is same.", item.m_strName.c_str());
    return kPassed;
}

NSData *Base64(const std::string &text) {
    return [[NSString stringWithUTF8String:text.c_str()] base64Decode];
}

Refusal MakeKey(const CItem &item, rsa_st *&key) {
    const std::vector<std::string> pieces = divideStr(item.m_strCertification, "|");
    SecCertificateRef certificate = pieces.empty() ? nullptr : SecFromData(Base64(pieces.back()));
    if (!certificate) {
        MacErrorTrace("invalid certification file!");
        return kCertificationFailure;
    }
    if (item.m_nCertVerified == 0) {
        CFRelease(certificate);
        MacErrorTrace("Certification verify failed!");
        return kCertificationFailure;
    }
    key = RSAFromCertification(certificate);
    CFRelease(certificate);
    if (!key) {
        MacErrorTrace("Failed to get public RSA object from certification!");
        return kCertificationFailure;
    }
    return kPassed;
}

Refusal CheckSignature(const CItem &item, rsa_st *&key) {
    NSData *signature = Base64(item.m_strSignature);
    NSData *signedText = [NSData dataWithBytes:item.m_strHashValue.data() length:item.m_strHashValue.size()];
    // The first item's certificate gives the key for all: later items are not asked for theirs.
    if (!key && !item.m_strSignature.empty() && !item.m_strCertification.empty()) {
        if (const Refusal failure = MakeKey(item, key)) {
            return failure;
        }
    }
    if (!key) {
        if (item.m_strSignature.empty()) {
            return kPassed;
        }
        MacErrorTrace("Certification exist, but something wrong with the certification!");
        return kCertificationFailure;
    }
    if (!verifyDataWithSSL(key, signedText, signature)) {
        MacErrorTrace("[%s]'s Signature verify failed!", item.m_strName.c_str());
        return kCertificationFailure;
    }
    return kPassed;
}

Refusal CheckAll(const CItem &item, const char *file, const std::string &siteLock, rsa_st *&key) {
    if (const Refusal failure = CheckMaterial(item, siteLock)) {
        return failure;
    }
    MacInfoTrace("LumInstallationMgr::DoItemInstallation,start to check hash and certification!");
    MacInfoTrace("current hashMethod = [%s]", item.m_strHashMethod.c_str());
    const std::optional<std::string> local = LocalHash(item, file);
    if (item.m_strCertification.size() < kShortestCertification) {
        MacErrorTrace("Certification Invalid!");
        return kCertificationFailure;
    }
    if (local) {
        if (const Refusal failure = CompareHash(item, *local)) {
            return failure;
        }
    }
    return CheckSignature(item, key);
}

} // namespace

std::optional<InstallResult> CheckIntegrity(const CItem &item, const char *file, const std::string &siteLock,
                                            rsa_st *&key) {
    const base::ScopedPool pool;
    return CheckAll(item, file, siteLock, key);
}
