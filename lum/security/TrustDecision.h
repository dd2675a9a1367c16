// What an evaluated certificate's status means: believed, or to be asked for. Pure functions of the status.
#pragma once

#include <Security/Security.h>

#include <span>

enum class TrustVerdict {
    Accept,
    AcceptAllowingExpired, // after one more evaluation that lets expired certificates pass, whatever its result
    Ask,
};

// `evidence`: one record for each certificate of the chain, the judged one first; empty when there is none.
TrustVerdict VerdictOn(SecTrustResultType result, std::span<const CSSM_TP_APPLE_EVIDENCE_INFO> evidence);

// The final decision on a certificate that is not trusted by itself, from its own status bits.
TrustVerdict VerdictOnStatusBits(CSSM_TP_APPLE_CERT_STATUS bits);
