// Is the certificate that the page hands over to be believed? Decided once for all items.
#include <Carbon/Carbon.h>

#import <Foundation/Foundation.h>

#include <algorithm>

#include "lum/common/lumutil.h"
#include "lum/lumext/lumext.h"
#include "lum/lumext/luminstallationmgr.h"
#import "base/objc/ScopedPool.h"
#import "lum/security/CryptoWrapper.h"
#include "lum/security/CertificateServices.h"

namespace {

constexpr SInt32 kFirstSystemWithTrust = 0x1060;
constexpr std::size_t kLongestNonsense = 10;

enum class Verdict { Undecided, Rejected, Accepted };

SecCertificateRef CertificateFromBase64(const std::string &text) {
    return SecFromData([[NSString stringWithUTF8String:text.c_str()] base64Decode]);
}

// The pieces before the last, as far as they are certificates; nil when there is only one piece.
NSArray *Intermediates(const std::vector<std::string> &pieces) {
    if (pieces.size() < 2) {
        return nil;
    }
    NSMutableArray *certificates = [NSMutableArray array];
    for (std::size_t i = 0; i + 1 < pieces.size(); ++i) {
        if (SecCertificateRef certificate = CertificateFromBase64(pieces[i])) {
            [certificates addObject:(id)certificate];
            CFRelease(certificate);
        }
    }
    return certificates;
}

// Character by character: a composed letter is not its parts.
bool EndsWith(NSString *text, NSString *end) {
    return [text rangeOfString:end options:NSLiteralSearch | NSBackwardsSearch | NSAnchoredSearch].length > 0;
}

Verdict JudgeName(SecCertificateRef leaf) {
    NSString *name = CommonNameOfCert(leaf);
    if (!name) {
        MacErrorTrace("invalid certification file or cannot believe, No common name!");
        return Verdict::Rejected;
    }
    MacInfoTrace("Certification's common name = %s", [name UTF8String]);
    if (EndsWith(name, @LUM_VENDOR_SUFFIX) || EndsWith(name, @LUM_VENDOR_ORGANISATION)) {
        return Verdict::Accepted;
    }
    MacErrorTrace("invalid certification file or cannot believe, common name is not end by %s", LUM_VENDOR_SUFFIX);
    return Verdict::Rejected;
}

Verdict Judge(const std::string &certification) {
    if (certification.size() <= kLongestNonsense) {
        return Verdict::Rejected;
    }
    const std::vector<std::string> pieces = divideStr(certification, "|");
    SecCertificateRef leaf = pieces.empty() ? nullptr : CertificateFromBase64(pieces.back());
    if (!leaf) {
        return Verdict::Undecided;
    }
    Verdict verdict = Verdict::Rejected;
    if (SecTrustRef trust = TrustCertification(leaf, (CFArrayRef)Intermediates(pieces))) {
        CFRelease(trust);
        verdict = JudgeName(leaf);
    } else {
        MacErrorTrace("invalid certification file or cannot believe!");
    }
    CFRelease(leaf);
    return verdict;
}

} // namespace

void LumInstallationMgr::VerifyCertification() {
    const std::string certification = Services().GetParameter("lumcertification").value_or("");
    if (certification.empty()) {
        return;
    }
    SInt32 systemVersion = 0;
    Gestalt(gestaltSystemVersion, &systemVersion);
    if (systemVersion < kFirstSystemWithTrust) {
        return;
    }
    const auto isUnjudged = [](const CItem *item) { return item && item->m_nCertVerified == -1; };
    if (std::none_of(m_aItems.begin(), m_aItems.end(), isUnjudged) || mNeedUpdate == 0) {
        return;
    }
    const base::ScopedPool pool;
    const Verdict verdict = Judge(certification);
    if (verdict == Verdict::Undecided) {
        return;
    }
    for (CItem *item : m_aItems) {
        if (item) {
            item->m_nCertVerified = verdict == Verdict::Accepted ? 1 : 0;
        }
    }
}
