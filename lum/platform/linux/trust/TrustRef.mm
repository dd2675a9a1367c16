// SecTrustRef.
#import "lum/platform/linux/trust/Objects.h"

#include <cstring>

#import <Foundation/Foundation.h>

#import "base/objc/ScopedPool.h"

@implementation LUMSecTrust

- (id)initWithCertificates:(const std::vector<sec::Certificate> &)certificates {
    self = [super init];
    if (self) {
        input = new sec::TrustInput{certificates, std::nullopt, 0};
    }
    return self;
}

- (void)dealloc {
    delete judgement;
    delete input;
    [super dealloc];
}

@end

namespace {

// A chain has a dozen at most. A page may send any number.
constexpr std::size_t kMostCertificates = 200;

// Objects that are not certificates are left out, and those beyond that number.
std::vector<sec::Certificate> CertificatesIn(CFTypeRef oneOrMany) {
    id object = (id)oneOrMany;
    NSArray *array = [object isKindOfClass:[NSArray class]] ? object : [NSArray arrayWithObjects:object, nil];
    std::vector<sec::Certificate> certificates;
    for (NSUInteger i = 0; i < [array count] && certificates.size() < kMostCertificates; ++i) {
        id member = [array objectAtIndex:i];
        if ([member isKindOfClass:[LUMSecCertificate class]]) {
            certificates.push_back(*((LUMSecCertificate *)member)->certificate);
        }
    }
    return certificates;
}

NSArray *NewChainObjects(const sec::Judgement &judgement) {
    NSMutableArray *chain = [NSMutableArray new];
    for (const sec::Certificate &certificate : judgement.chain) {
        LUMSecCertificate *object = [[LUMSecCertificate alloc] initWithCertificate:certificate];
        [chain addObject:object];
        [object release];
    }
    return chain;
}

} // namespace

OSStatus SecTrustCreateWithCertificates(CFTypeRef certificates, CFTypeRef policies, SecTrustRef *trust) {
    if (!certificates || !policies || !trust) {
        return errSecParam;
    }
    const base::ScopedPool pool;
    *trust = nullptr;
    const std::vector<sec::Certificate> given = CertificatesIn(certificates);
    if (given.empty()) {
        return errSecParam;
    }
    *trust = reinterpret_cast<SecTrustRef>([[LUMSecTrust alloc] initWithCertificates:given]);
    return noErr;
}

OSStatus SecTrustSetAnchorCertificates(SecTrustRef trust, CFArrayRef anchors) {
    if (!trust) {
        return errSecParam;
    }
    const base::ScopedPool pool;
    std::optional<std::vector<sec::Certificate>> &set = sec::Object(trust)->input->anchors;
    set = anchors ? std::optional(CertificatesIn(anchors)) : std::nullopt;
    return noErr;
}

OSStatus SecTrustSetParameters(SecTrustRef trust, CSSM_TP_ACTION action, CFDataRef actionData) {
    NSData *data = (NSData *)actionData;
    CSSM_APPLE_TP_ACTION_DATA record = {CSSM_APPLE_TP_ACTION_VERSION, 0};
    if (!trust || action != CSSM_TP_ACTION_DEFAULT || (data && [data length] != sizeof record)) {
        return errSecParam;
    }
    if (data) {
        memcpy(&record, [data bytes], sizeof record);
    }
    if (record.Version != CSSM_APPLE_TP_ACTION_VERSION) {
        return errSecParam;
    }
    sec::Object(trust)->input->flags = record.ActionFlags;
    return noErr;
}

OSStatus SecTrustEvaluate(SecTrustRef trust, SecTrustResultType *result) {
    if (!trust || !result) {
        return errSecParam;
    }
    LUMSecTrust *object = sec::Object(trust);
    const sec::TrustStore store = sec::ReadTrustStore(!object->input->anchors);
    delete object->judgement;
    object->judgement = new sec::Judgement(sec::Judge(*object->input, store, std::time(nullptr)));
    *result = object->judgement->result;
    return noErr;
}

OSStatus SecTrustGetResult(SecTrustRef trust, SecTrustResultType *result, CFArrayRef *chain,
                           CSSM_TP_APPLE_EVIDENCE_INFO **statusChain) {
    if (!trust) {
        return errSecParam;
    }
    sec::Judgement *judgement = sec::Object(trust)->judgement;
    if (!judgement) {
        return errSecTrustNotAvailable;
    }
    if (result) {
        *result = judgement->result;
    }
    if (chain) {
        *chain = reinterpret_cast<CFArrayRef>(NewChainObjects(*judgement));
    }
    if (statusChain) {
        *statusChain = judgement->evidence.data();
    }
    return noErr;
}
