// TrustCertification with its rule and its question as arguments. The build option LUM_STRICT_TRUST chooses the rule of
// TrustCertification itself; tests run both.
#pragma once

#include "lum/security/CertificateServices.h"

enum class TrustRule {
    // The page's certificates are anchors of its chain; what is not trusted is asked for or, when expired, believed.
    Usual,
    // The page's certificates only help to build the chain, which must end in a certificate that the system or the user
    // trusts; what is not trusted is refused without asking.
    Strict,
};

// As TrustCertification. `ask` is called for what the rule asks the user about.
SecTrustRef TrustCertificationBy(TrustRule rule, SecCertificateRef cert, CFArrayRef pageCertificates,
                                 bool (*ask)(SecTrustRef));
