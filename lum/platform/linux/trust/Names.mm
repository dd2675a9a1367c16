#import "lum/platform/linux/trust/Names.h"

#include <gnutls/gnutls.h>

#include <cstring>

#import <Foundation/Foundation.h>

namespace sec {
namespace {

// ASN.1 string types; the others of a name are ASCII or UTF-8.
constexpr unsigned long kTeletexString = 20;
constexpr unsigned long kUniversalString = 28;
constexpr unsigned long kBmpString = 30;

constexpr const char *kShownParts[] = {
    GNUTLS_OID_X520_COMMON_NAME,   GNUTLS_OID_X520_ORGANIZATION_NAME,      GNUTLS_OID_X520_ORGANIZATIONAL_UNIT_NAME,
    GNUTLS_OID_X520_LOCALITY_NAME, GNUTLS_OID_X520_STATE_OR_PROVINCE_NAME, GNUTLS_OID_X520_COUNTRY_NAME};

NSStringEncoding EncodingOf(unsigned long tag) {
    switch (tag) {
    case kTeletexString:
        return NSISOLatin1StringEncoding;
    case kUniversalString:
        return NSUTF32BigEndianStringEncoding;
    case kBmpString:
        return NSUTF16BigEndianStringEncoding;
    default:
        return NSUTF8StringEncoding;
    }
}

// GnuTLS's own text functions escape commas and the like, so the value is taken as it is encoded. nil when its bytes
// are not of its type.
NSString *Text(const gnutls_x509_ava_st &part) {
    NSData *bytes = [NSData dataWithBytes:part.value.data length:part.value.size];
    return [[[NSString alloc] initWithData:bytes encoding:EncodingOf(part.value_tag)] autorelease];
}

bool Is(const gnutls_x509_ava_st &part, const char *identifier) {
    return part.oid.size >= strlen(identifier) &&
           strncmp(reinterpret_cast<const char *>(part.oid.data), identifier, part.oid.size) == 0;
}

// The last part of this kind, or nil.
NSString *Part(gnutls_x509_dn_t name, const char *identifier) {
    NSString *found = nil;
    gnutls_x509_ava_st part;
    for (int set = 0; gnutls_x509_dn_get_rdn_ava(name, set, 0, &part) == GNUTLS_E_SUCCESS; ++set) {
        for (int i = 0; gnutls_x509_dn_get_rdn_ava(name, set, i, &part) == GNUTLS_E_SUCCESS; ++i) {
            NSString *text = Is(part, identifier) ? Text(part) : nil;
            found = text ? text : found;
        }
    }
    return found;
}

bool ChangesItsSurroundings(unichar character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0xAD || character == 0x61C ||
           (character >= 0x200B && character <= 0x200F) || (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2060 && character <= 0x206F) || character == 0xFEFF;
}

NSString *Harmless(NSString *text) {
    NSMutableString *shown = [NSMutableString stringWithString:text];
    for (NSUInteger i = 0; i < [shown length]; ++i) {
        if (ChangesItsSurroundings([shown characterAtIndex:i])) {
            [shown replaceCharactersInRange:NSMakeRange(i, 1) withString:@"\uFFFD"];
        }
    }
    return shown;
}

NSArray *ForShowing(gnutls_x509_dn_t name) {
    NSMutableArray *parts = [NSMutableArray array];
    for (const char *identifier : kShownParts) {
        NSString *text = Part(name, identifier);
        if ([text length]) {
            [parts addObject:Harmless(text)];
        }
    }
    return parts;
}

gnutls_x509_dn_t Subject(const Certificate &certificate) {
    gnutls_x509_dn_t name = nullptr;
    gnutls_x509_crt_get_subject(certificate.Handle(), &name);
    return name;
}

gnutls_x509_dn_t Issuer(const Certificate &certificate) {
    gnutls_x509_dn_t name = nullptr;
    gnutls_x509_crt_get_issuer(certificate.Handle(), &name);
    return name;
}

} // namespace

NSString *CommonName(const Certificate &certificate) {
    return Part(Subject(certificate), GNUTLS_OID_X520_COMMON_NAME);
}

NSArray *SubjectForShowing(const Certificate &certificate) {
    return ForShowing(Subject(certificate));
}

NSArray *IssuerForShowing(const Certificate &certificate) {
    return ForShowing(Issuer(certificate));
}

} // namespace sec
