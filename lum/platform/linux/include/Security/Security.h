// The target system's certificate and trust services, as far as the extension calls them: its names, signatures,
// constants and results, on this system.
//
// Functions answer 0 or one of the status codes below; what they hand out through their last arguments is set only on
// success and null otherwise, unless a function says differently. Objects that a function with "Create" or "Copy" in
// its name hands out belong to the caller (CFRelease); they are Objective-C objects, so arrays of Foundation hold them.
// Main thread only.
//
// What stands behind them: GnuTLS, the system's trusted roots, and two folders of the user's own, which are read at
// each evaluation:
//   ~/.config/lum/certificates/trusted    the user trusts each certificate here as if it were a root
//   ~/.config/lum/certificates/refused    the user refuses each certificate here and all that it vouches for
// (~ is base::HomeFolder(); XDG_CONFIG_HOME, when set, takes the place of ~/.config.) Each file in them holds one
// certificate as DER, or any number as PEM. A folder of trusted certificates is left out when another user owns it or
// everyone may write to it.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <stddef.h>
#include <stdint.h>

typedef struct OpaqueSecCertificateRef *SecCertificateRef;
typedef struct OpaqueSecPolicyRef *SecPolicyRef;
typedef struct OpaquePolicySearchRef *SecPolicySearchRef;
typedef struct OpaqueSecTrustRef *SecTrustRef;

typedef struct cssm_data {
    size_t Length; // in bytes
    uint8_t *Data;
} CSSM_DATA, *CSSM_DATA_PTR;
typedef CSSM_DATA CSSM_OID; // the identifier's DER without tag and length
typedef uint32_t CSSM_CERT_TYPE;
typedef uint32_t CSSM_CERT_ENCODING;
typedef uint32_t CSSM_TP_ACTION;
typedef uint32_t CSSM_APPLE_TP_ACTION_FLAGS;
typedef uint32_t CSSM_TP_APPLE_CERT_STATUS;

enum { CSSM_CERT_X_509v3 = 0x03, CSSM_CERT_X_509_ATTRIBUTE = 0x09 };
enum { CSSM_CERT_ENCODING_DER = 0x03 };
enum { CSSM_TP_ACTION_DEFAULT = 0 };

// Status codes.
enum {
    errSecParam = -50,                // an argument that must be given is null or makes no sense
    errSecAllocate = -108,            // out of memory
    errSecPolicyNotFound = -25241,    // the search has no (further) policy
    errSecTrustNotAvailable = -25245, // nothing was evaluated yet
    errSecUnknownFormat = -25257      // the bytes are not a certificate
};

typedef uint32_t SecTrustResultType;
enum {
    kSecTrustResultInvalid = 0,
    kSecTrustResultProceed = 1, // the user's own settings trust it
    kSecTrustResultConfirm = 2,
    kSecTrustResultDeny = 3,        // the user's own settings refuse it
    kSecTrustResultUnspecified = 4, // trusted, without a word from the user
    kSecTrustResultRecoverableTrustFailure = 5,
    kSecTrustResultFatalTrustFailure = 6,
    kSecTrustResultOtherError = 7
};

// Bits of CSSM_TP_APPLE_EVIDENCE_INFO.StatusBits.
enum {
    CSSM_CERT_STATUS_EXPIRED = 0x00000001,
    CSSM_CERT_STATUS_NOT_VALID_YET = 0x00000002,
    CSSM_CERT_STATUS_IS_IN_INPUT_CERTS = 0x00000004,
    CSSM_CERT_STATUS_IS_IN_ANCHORS = 0x00000008,
    CSSM_CERT_STATUS_IS_ROOT = 0x00000010,
    CSSM_CERT_STATUS_IS_FROM_NET = 0x00000020,
    CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_USER = 0x00000040,
    CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_ADMIN = 0x00000080,
    CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_SYSTEM = 0x00000100,
    CSSM_CERT_STATUS_TRUST_SETTINGS_TRUST = 0x00000200,
    CSSM_CERT_STATUS_TRUST_SETTINGS_DENY = 0x00000400
};

typedef struct {
    CSSM_TP_APPLE_CERT_STATUS StatusBits;
} CSSM_TP_APPLE_EVIDENCE_INFO;

// Action data of CSSM_TP_ACTION_DEFAULT.
enum { CSSM_APPLE_TP_ACTION_VERSION = 0 };
enum { CSSM_TP_ACTION_ALLOW_EXPIRED = 0x00000001, CSSM_TP_ACTION_ALLOW_EXPIRED_ROOT = 0x00000008 };
typedef struct {
    uint32_t Version;
    CSSM_APPLE_TP_ACTION_FLAGS ActionFlags;
} CSSM_APPLE_TP_ACTION_DATA;

#ifdef __cplusplus
extern "C" {
#endif

// The policy that asks for a valid X.509 chain and nothing else.
extern const CSSM_OID CSSMOID_APPLE_X509_BASIC;

// `data` holds one certificate as DER. Type and encoding are not looked at: callers of the target pass odd ones.
OSStatus SecCertificateCreateFromData(const CSSM_DATA *data, CSSM_CERT_TYPE type, CSSM_CERT_ENCODING encoding,
                                      SecCertificateRef *certificate);
// The certificate's DER. The bytes belong to the certificate and live as long as it.
OSStatus SecCertificateGetData(SecCertificateRef certificate, CSSM_DATA_PTR data);
// The last common name of the subject, the most specific; success with a null name when the subject has none.
OSStatus SecCertificateCopyCommonName(SecCertificateRef certificate, CFStringRef *commonName);

// The search finds the policy of this identifier once. `value` must be null.
OSStatus SecPolicySearchCreate(CSSM_CERT_TYPE type, const CSSM_OID *identifier, const CSSM_DATA *value,
                               SecPolicySearchRef *search);
OSStatus SecPolicySearchCopyNext(SecPolicySearchRef search, SecPolicyRef *policy);

// `certificates`: an array of certificates or one certificate; the first is judged, the others help to build its chain.
// `policies`: a policy (or an array of them); null is errSecParam.
OSStatus SecTrustCreateWithCertificates(CFTypeRef certificates, CFTypeRef policies, SecTrustRef *trust);
// From now on these certificates are the only ones that a chain can end in, whether or not they are roots: the system's
// roots and those that the user trusts no longer count. Those that the user refuses still do. Null goes back to the
// system's.
OSStatus SecTrustSetAnchorCertificates(SecTrustRef trust, CFArrayRef anchors);
// `actionData` holds a CSSM_APPLE_TP_ACTION_DATA; null sets no flags.
OSStatus SecTrustSetParameters(SecTrustRef trust, CSSM_TP_ACTION action, CFDataRef actionData);
// Builds the chain and judges it. The status is 0 whenever there is a result, also for a chain that is not trusted.
// Nothing is fetched from the network, and no revocation is looked up.
OSStatus SecTrustEvaluate(SecTrustRef trust, SecTrustResultType *result);
// What the last evaluation found: the chain, the judged certificate first (a copy, the caller's), and one record for
// each certificate of it (the trust object's, until the next evaluation or its end). Any out-argument may be null.
OSStatus SecTrustGetResult(SecTrustRef trust, SecTrustResultType *result, CFArrayRef *chain,
                           CSSM_TP_APPLE_EVIDENCE_INFO **statusChain);

#ifdef __cplusplus
}
#endif
