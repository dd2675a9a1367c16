// SecPolicyRef and the search for one. There is one policy, the basic one.
#include <Security/Security.h>

#include <cstring>

#import <Foundation/NSObject.h>

namespace {

const unsigned char kBasicPolicy[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x63, 0x64, 0x01, 0x02}; // 1.2.840.113635.100.1.2

bool IsBasicPolicy(const CSSM_OID &identifier) {
    return identifier.Length == sizeof kBasicPolicy && memcmp(identifier.Data, kBasicPolicy, sizeof kBasicPolicy) == 0;
}

} // namespace

const CSSM_OID CSSMOID_APPLE_X509_BASIC = {sizeof kBasicPolicy, const_cast<uint8_t *>(kBasicPolicy)};

@interface LUMSecPolicy : NSObject
@end

@implementation LUMSecPolicy
@end

@interface LUMSecPolicySearch : NSObject {
@public
    bool hasNext;
}
@end

@implementation LUMSecPolicySearch
@end

OSStatus SecPolicySearchCreate(CSSM_CERT_TYPE type, const CSSM_OID *identifier, const CSSM_DATA *value,
                               SecPolicySearchRef *search) {
    if (!identifier || value || !search) {
        return errSecParam;
    }
    LUMSecPolicySearch *made = [LUMSecPolicySearch new];
    made->hasNext = type == CSSM_CERT_X_509v3 && IsBasicPolicy(*identifier);
    *search = reinterpret_cast<SecPolicySearchRef>(made);
    return noErr;
}

OSStatus SecPolicySearchCopyNext(SecPolicySearchRef search, SecPolicyRef *policy) {
    if (!search || !policy) {
        return errSecParam;
    }
    *policy = nullptr;
    LUMSecPolicySearch *found = reinterpret_cast<LUMSecPolicySearch *>(search);
    if (!found->hasNext) {
        return errSecPolicyNotFound;
    }
    found->hasNext = false;
    *policy = reinterpret_cast<SecPolicyRef>([LUMSecPolicy new]);
    return noErr;
}
