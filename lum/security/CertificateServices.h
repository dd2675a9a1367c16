// Certificates, trust and RSA signatures.
//
// Null where an object is expected gives the function's failure value; no function throws. A function with "From" in
// its name and TrustCertification return an object that the caller owns (CFRelease for certificates and trust objects,
// libcrypto's RSA_free for keys, CryptoWrapper.h); other objects are autoreleased. Failures are reported by the result
// alone, apart from the two signature functions, which also write one line to the log (NSLog). Without libcrypto, or
// without a function of it that is needed, the functions on RSA keys fail and log nothing. Can be included from plain
// C++. Main thread only.
#pragma once

#include <Security/Security.h>

#include "lum/platform/ObjcForward.h"

// NOLINTBEGIN(readability-identifier-naming): the names are the interface's own

LUM_FORWARD_CLASS(NSData);
LUM_FORWARD_CLASS(NSString);
struct rsa_st; // libcrypto's RSA

// --- Certificates ---
// A certificate from a file that holds its DER. Null: no such file, or no certificate in it.
SecCertificateRef SecFromFile(const char *path);
// A certificate from its DER.
SecCertificateRef SecFromData(NSData *data);
// The subject's common name, or nil when it has none.
NSString *CommonNameOfCert(SecCertificateRef cert);
// The certificate's public key, or null when it is not an RSA key.
rsa_st *RSAFromCertification(SecCertificateRef cert);

// --- Trust ---
// The system's policy of this identifier (the caller owns it), or null.
SecPolicyRef policyForOID(const CSSM_OID *oid);
// Judges `cert` under `policy`. `anchors` (null: the system's own roots) are then the only certificates that its chain
// may end in. Returns the platform's status, 0 when there is a result; -108 when there is no memory. `*trust`, which
// the caller owns, is set when the trust object could be made, even if the status is not 0; otherwise neither
// out-argument is touched.
OSStatus EvaluateCert(SecCertificateRef cert, CFArrayRef anchors, SecPolicyRef policy, SecTrustResultType *result,
                      SecTrustRef *trust);
// The trust object when `cert` is to be believed, otherwise null. `anchors` are the further certificates that came with
// it; null for none. May run a modal panel that asks the user. What is believed without a question, what is asked, and
// what the build option LUM_STRICT_TRUST changes: docs/security.md. A trust object says that the certificate was
// accepted, not that its name is the one that the caller expects.
SecTrustRef TrustCertification(SecCertificateRef cert, CFArrayRef anchors);
// Asks the user; true only for the OK button. Without a window server false.
bool displayPanelForTrust(SecTrustRef trust);

// --- Signatures ---
// PKCS#1 v1.5 with the digest type sha1WithRSA (1.3.14.3.2.29) over the bytes of `data` themselves: nothing is hashed
// here, and what a caller passes is the text of a hash.
//
// True when `signature` was made over exactly these bytes with the private key that belongs to `rsa`.
bool verifyDataWithSSL(rsa_st *rsa, NSData *data, NSData *signature);
// The signature, as long as the key's modulus, or nil. The key file holds an RSA private key in PEM form; only its
// first 2045 bytes are read, so a longer one that is cut within the key fails. The file is left open on failure.
NSData *SignDataWithSSL(const char *keyPath, NSData *data);

// NOLINTEND(readability-identifier-naming)
