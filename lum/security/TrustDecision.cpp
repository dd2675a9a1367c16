#include "lum/security/TrustDecision.h"

#include <algorithm>

namespace {

constexpr CSSM_TP_APPLE_CERT_STATUS kTrustSettings =
    CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_USER | CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_ADMIN |
    CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_SYSTEM | CSSM_CERT_STATUS_TRUST_SETTINGS_TRUST;

} // namespace

TrustVerdict VerdictOnStatusBits(CSSM_TP_APPLE_CERT_STATUS bits) {
    if (bits & kTrustSettings) {
        return TrustVerdict::Accept;
    }
    if (bits & CSSM_CERT_STATUS_NOT_VALID_YET) {
        return TrustVerdict::Ask;
    }
    // Whether it is a root makes no difference.
    return bits & CSSM_CERT_STATUS_IS_IN_ANCHORS ? TrustVerdict::Accept : TrustVerdict::Ask;
}

TrustVerdict VerdictOn(SecTrustResultType result, std::span<const CSSM_TP_APPLE_EVIDENCE_INFO> evidence) {
    if (result == kSecTrustResultProceed || result == kSecTrustResultUnspecified) {
        return TrustVerdict::Accept;
    }
    if (evidence.empty()) {
        return TrustVerdict::Accept; // surprising, and kept: a service that names no fault leaves nothing to ask about
    }
    const auto isExpired = [](const CSSM_TP_APPLE_EVIDENCE_INFO &info) {
        return (info.StatusBits & CSSM_CERT_STATUS_EXPIRED) != 0;
    };
    if (result == kSecTrustResultRecoverableTrustFailure && std::any_of(evidence.begin(), evidence.end(), isExpired)) {
        return TrustVerdict::AcceptAllowingExpired;
    }
    return VerdictOnStatusBits(evidence.front().StatusBits);
}
