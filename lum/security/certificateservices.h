// Certificates, trust and RSA signatures.
#pragma once

#include <Security/Security.h>

#include "lum/platform/objcforward.h"

LUM_FORWARD_CLASS(NSData);
LUM_FORWARD_CLASS(NSString);
struct rsa_st;

SecCertificateRef SecFromFile(const char *path);
SecCertificateRef SecFromData(NSData *data);
SecPolicyRef policyForOID(const CSSM_OID *oid);
OSStatus EvaluateCert(SecCertificateRef cert, CFArrayRef anchors, SecPolicyRef policy, SecTrustResultType *result,
                      SecTrustRef *trust);
SecTrustRef TrustCertification(SecCertificateRef cert, CFArrayRef anchors);
bool displayPanelForTrust(SecTrustRef trust);
rsa_st *RSAFromCertification(SecCertificateRef cert);
NSString *CommonNameOfCert(SecCertificateRef cert);
bool verifyDataWithSSL(rsa_st *rsa, NSData *data, NSData *signature);
NSData *SignDataWithSSL(const char *keyPath, NSData *data);
