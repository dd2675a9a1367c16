// The Objective-C objects behind the pointers of Security.h. Objective-C++ only.
#pragma once

#include <Security/Security.h>

#include "lum/platform/linux/trust/Chain.h"

#import <Foundation/NSObject.h>

@interface LUMSecCertificate : NSObject {
@public
    const sec::Certificate *certificate; // owned, never null
}
- (id)initWithCertificate:(const sec::Certificate &)value;
@end

@interface LUMSecTrust : NSObject {
@public
    sec::TrustInput *input;    // owned, never null
    sec::Judgement *judgement; // owned; null until something was evaluated
}
- (id)initWithCertificates:(const std::vector<sec::Certificate> &)certificates;
@end

namespace sec {

inline LUMSecCertificate *Object(SecCertificateRef certificate) {
    return reinterpret_cast<LUMSecCertificate *>(certificate);
}
inline LUMSecTrust *Object(SecTrustRef trust) {
    return reinterpret_cast<LUMSecTrust *>(trust);
}

} // namespace sec
