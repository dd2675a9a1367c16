// The chain of a certificate, built and judged as the target system does it.
//
// The chain starts with the judged certificate and goes on to its issuer, and so on, until a certificate that may end
// it. It may end in one of the anchors that were given, whether or not that is a root; without given anchors, in one
// that the user trusts or in one of the system's roots. Certificates of the input help to get there, in any order.
#pragma once

#include <Security/Security.h>

#include <ctime>
#include <optional>
#include <span>
#include <vector>

#include "lum/platform/linux/trust/Certificate.h"
#include "lum/platform/linux/trust/TrustStore.h"

namespace sec {

struct TrustInput {
    std::vector<Certificate> certificates; // the first is judged; never empty
    std::optional<std::vector<Certificate>> anchors;
    CSSM_APPLE_TP_ACTION_FLAGS flags = 0;
};

// Why a chain is not trusted, the gravest first.
enum class Fault {
    Refused,     // the user refuses one of its certificates
    NoAnchor,    // it ends in nothing that is trusted
    Unsuitable,  // a certificate may not issue others, is too weak, or breaks another rule
    NotValidYet, // one of them is not valid yet
    Expired,     // one of them is not valid any longer
    None,
};

struct Judgement {
    SecTrustResultType result = kSecTrustResultInvalid;
    Fault fault = Fault::None;
    std::vector<Certificate> chain;                    // as far as it could be built, the judged one first
    std::vector<CSSM_TP_APPLE_EVIDENCE_INFO> evidence; // one for each of the chain
};

Judgement Judge(const TrustInput &input, const TrustStore &store, std::time_t now);

} // namespace sec
