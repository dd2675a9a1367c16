// Trust: what is believed, what the user is asked about, and what is refused.
#include <memory>
#include <type_traits>

#import "base/objc/ScopedPool.h"
#import "lum/security/CertificateServices.h"
#import "lum/security/KeptAllocated.h"
#import "lum/security/TrustDecision.h"
#import "lum/security/TrustRule.h"

#import <Foundation/Foundation.h>
#import <SecurityInterface/SFCertificateTrustPanel.h>

namespace {

#ifdef LUM_STRICT_TRUST
constexpr TrustRule kRuleOfThisBuild = TrustRule::Strict;
#else
constexpr TrustRule kRuleOfThisBuild = TrustRule::Usual;
#endif

constexpr NSInteger kOkButton = 1;

struct Releaser {
    void operator()(CFTypeRef object) const {
        CFRelease(object);
    }
};
template <typename Ref> using Scoped = std::unique_ptr<std::remove_pointer_t<Ref>, Releaser>;

bool IsTrusted(SecTrustResultType result) {
    return result == kSecTrustResultProceed || result == kSecTrustResultUnspecified;
}

TrustVerdict VerdictOnEvidence(SecTrustRef trust, SecTrustResultType result) {
    CFArrayRef chain = nullptr;
    CSSM_TP_APPLE_EVIDENCE_INFO *status = nullptr;
    std::size_t count = 0;
    if (!IsTrusted(result) && SecTrustGetResult(trust, nullptr, &chain, &status) == noErr && chain && status) {
        count = [(NSArray *)chain count];
    }
    const Scoped<CFArrayRef> ownedChain(chain);
    return VerdictOn(result, {status, count});
}

void EvaluateAllowingExpired(SecTrustRef trust) {
    const CSSM_APPLE_TP_ACTION_DATA action = {CSSM_APPLE_TP_ACTION_VERSION,
                                              CSSM_TP_ACTION_ALLOW_EXPIRED | CSSM_TP_ACTION_ALLOW_EXPIRED_ROOT};
    NSData *record = [NSData dataWithBytes:&action length:sizeof action];
    if (!record) {
        return;
    }
    SecTrustSetParameters(trust, CSSM_TP_ACTION_DEFAULT, (CFDataRef)record);
    SecTrustResultType result = kSecTrustResultInvalid;
    SecTrustEvaluate(trust, &result);
    SecTrustGetResult(trust, &result, nullptr, nullptr);
}

bool IsBelieved(SecTrustRef trust, SecTrustResultType result, bool (*ask)(SecTrustRef)) {
    switch (VerdictOnEvidence(trust, result)) {
    case TrustVerdict::Accept:
        return true;
    case TrustVerdict::AcceptAllowingExpired:
        EvaluateAllowingExpired(trust);
        return true;
    case TrustVerdict::Ask:
        return ask(trust);
    }
    return false;
}

SecTrustRef TrustWithPageAsAnchors(SecCertificateRef cert, CFArrayRef pageCertificates, SecPolicyRef policy,
                                   bool (*ask)(SecTrustRef)) {
    SecTrustResultType result = kSecTrustResultInvalid;
    SecTrustRef made = nullptr;
    const OSStatus status = EvaluateCert(cert, pageCertificates, policy, &result, &made);
    Scoped<SecTrustRef> trust(made);
    if (status != noErr || !IsBelieved(made, result, ask)) {
        return nullptr;
    }
    return trust.release();
}

SecTrustRef TrustOnOwnRootsOnly(SecCertificateRef cert, CFArrayRef pageCertificates, SecPolicyRef policy) {
    NSMutableArray *certificates = [NSMutableArray arrayWithObject:(id)cert];
    [certificates addObjectsFromArray:pageCertificates ? (NSArray *)pageCertificates : [NSArray array]];
    SecTrustRef made = nullptr;
    if (SecTrustCreateWithCertificates((CFArrayRef)certificates, policy, &made) != noErr) {
        return nullptr;
    }
    Scoped<SecTrustRef> trust(made);
    SecTrustResultType result = kSecTrustResultInvalid;
    if (SecTrustEvaluate(made, &result) != noErr || !IsTrusted(result)) {
        return nullptr;
    }
    return trust.release();
}

} // namespace

SecPolicyRef policyForOID(const CSSM_OID *oid) {
    SecPolicySearchRef search = nullptr;
    if (SecPolicySearchCreate(CSSM_CERT_X_509v3, oid, nullptr, &search) != noErr) {
        return nullptr;
    }
    const Scoped<SecPolicySearchRef> ownedSearch(search);
    SecPolicyRef policy = nullptr;
    return SecPolicySearchCopyNext(search, &policy) == noErr ? policy : nullptr;
}

OSStatus EvaluateCert(SecCertificateRef cert, CFArrayRef anchors, SecPolicyRef policy, SecTrustResultType *result,
                      SecTrustRef *trust) {
    NSArray *certificates = cert ? [[NSArray alloc] initWithObjects:(id)cert, nil] : nil;
    if (!certificates) {
        return memFullErr;
    }
    SecTrustRef made = nullptr;
    OSStatus status = SecTrustCreateWithCertificates((CFArrayRef)certificates, policy, &made);
    if (status != noErr) {
        KeepAllocated(certificates); // not released here, on purpose
        return status;               // NOLINT(clang-analyzer-osx.cocoa.RetainCount)
    }
    *trust = made;
    if (anchors) {
        SecTrustSetAnchorCertificates(made, anchors);
    }
    status = SecTrustEvaluate(made, result);
    [certificates release];
    return status;
}

SecTrustRef TrustCertificationBy(TrustRule rule, SecCertificateRef cert, CFArrayRef pageCertificates,
                                 bool (*ask)(SecTrustRef)) {
    const base::ScopedPool pool;
    const Scoped<SecPolicyRef> policy(policyForOID(&CSSMOID_APPLE_X509_BASIC));
    if (!cert || !policy) {
        return nullptr;
    }
    return rule == TrustRule::Strict ? TrustOnOwnRootsOnly(cert, pageCertificates, policy.get())
                                     : TrustWithPageAsAnchors(cert, pageCertificates, policy.get(), ask);
}

SecTrustRef TrustCertification(SecCertificateRef cert, CFArrayRef anchors) {
    return TrustCertificationBy(kRuleOfThisBuild, cert, anchors, displayPanelForTrust);
}

bool displayPanelForTrust(SecTrustRef trust) {
    const base::ScopedPool pool;
    NSBundle *appKit = [NSBundle bundleWithPath:@"/System/Library/Frameworks/AppKit.framework"];
    NSString *cancel = [appKit localizedStringForKey:@"Cancel" value:@"Cancel" table:@"Common"];
    SFCertificateTrustPanel *panel = [SFCertificateTrustPanel sharedCertificateTrustPanel];
    [panel setAlternateButtonTitle:cancel ? cancel : @"Cancel"]; // a system without that bundle has no title either
    return [panel runModalForTrust:trust message:nil] == kOkButton;
}
