// SecCertificateRef.
#import "lum/platform/linux/trust/Objects.h"

#import "lum/platform/linux/trust/Names.h"
#import "base/objc/ScopedPool.h"

#import <Foundation/NSString.h>

@implementation LUMSecCertificate

- (id)initWithCertificate:(const sec::Certificate &)value {
    self = [super init];
    if (self) {
        certificate = new sec::Certificate(value);
    }
    return self;
}

- (void)dealloc {
    delete certificate;
    [super dealloc];
}

- (BOOL)isEqual:(id)other {
    return
        [other isKindOfClass:[LUMSecCertificate class]] && *certificate == *((LUMSecCertificate *)other)->certificate;
}

- (NSUInteger)hash {
    return certificate->Sha256Fingerprint()[0];
}

@end

OSStatus SecCertificateCreateFromData(const CSSM_DATA *data, CSSM_CERT_TYPE, CSSM_CERT_ENCODING,
                                      SecCertificateRef *certificate) {
    if (!data || !certificate) {
        return errSecParam;
    }
    *certificate = nullptr;
    const auto parsed = sec::Certificate::FromDer({data->Data, data->Length});
    if (!parsed) {
        return errSecUnknownFormat;
    }
    *certificate = reinterpret_cast<SecCertificateRef>([[LUMSecCertificate alloc] initWithCertificate:*parsed]);
    return noErr;
}

OSStatus SecCertificateGetData(SecCertificateRef certificate, CSSM_DATA_PTR data) {
    if (!certificate || !data) {
        return errSecParam;
    }
    const sec::ByteSpan der = sec::Object(certificate)->certificate->Der();
    *data = {der.size(), const_cast<uint8_t *>(der.data())};
    return noErr;
}

OSStatus SecCertificateCopyCommonName(SecCertificateRef certificate, CFStringRef *commonName) {
    if (!certificate || !commonName) {
        return errSecParam;
    }
    const base::ScopedPool pool;
    *commonName = reinterpret_cast<CFStringRef>([sec::CommonName(*sec::Object(certificate)->certificate) copy]);
    return noErr;
}
