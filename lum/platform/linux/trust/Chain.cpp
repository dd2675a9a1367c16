#include "lum/platform/linux/trust/Chain.h"

#include <gnutls/gnutls.h>

#include <algorithm>
#include <functional>

namespace sec {
namespace {

using Certificates = std::vector<Certificate>;

// Chains in use have four or five certificates at most. A page may send any number that name each other, and each try
// at a signature takes its time.
constexpr std::size_t kLongestChain = 12;
constexpr int kMostTries = 100;

#pragma GCC diagnostic ignored "-Wold-style-cast" // in GNUTLS_PROFILE_TO_VFLAGS

// Everything but the dates, which have a rule of their own. The strength is that of the web today: no SHA-1, RSA of
// 2048 bits.
constexpr unsigned kAllButDates = GNUTLS_VERIFY_DISABLE_TIME_CHECKS | GNUTLS_VERIFY_DISABLE_TRUSTED_TIME_CHECKS |
                                  GNUTLS_PROFILE_TO_VFLAGS(GNUTLS_PROFILE_MEDIUM);

class ChainBuilder {
public:
    ChainBuilder(const Certificates &input, const Certificates &ends, std::time_t now)
        : m_input(ValidFirst(input, now)), m_ends(ValidFirst(ends, now)) {}

    // True when the chain ends in one of the ends. Otherwise `chain` is the longest way that was found.
    bool Build(const Certificate &leaf, Certificates &chain) {
        Certificates way = {leaf};
        m_longest = way;
        const bool found = Complete(way);
        chain = found ? way : m_longest;
        return found;
    }

private:
    static Certificates ValidFirst(Certificates certificates, std::time_t now) {
        std::stable_partition(certificates.begin(), certificates.end(), [now](const Certificate &certificate) {
            return certificate.NotBefore() <= now && now <= certificate.NotAfter();
        });
        return certificates;
    }

    bool Issued(const Certificate &issuer, const Certificate &subject) {
        return subject.NamesAsIssuer(issuer) && m_tries++ < kMostTries && subject.IsIssuedBy(issuer);
    }

    bool Complete(Certificates &way) {
        const Certificate last = way.back();
        if (IsAmong(last, m_ends)) {
            return true;
        }
        if (way.size() == kLongestChain || last.IsRoot()) {
            return false;
        }
        for (const Certificate &end : m_ends) {
            if (Issued(end, last)) {
                way.push_back(end);
                return true;
            }
        }
        for (const Certificate &issuer : m_input) {
            if (!IsAmong(issuer, way) && Issued(issuer, last) && Try(issuer, way)) {
                return true;
            }
        }
        return false;
    }

    bool Try(const Certificate &issuer, Certificates &way) {
        way.push_back(issuer);
        if (way.size() > m_longest.size()) {
            m_longest = way;
        }
        if (Complete(way)) {
            return true;
        }
        way.pop_back();
        return false;
    }

    const Certificates m_input;
    const Certificates m_ends;
    Certificates m_longest;
    int m_tries = 0;
};

Certificates EndsOf(const TrustInput &input, const TrustStore &store) {
    if (input.anchors) {
        return *input.anchors;
    }
    Certificates ends = store.userTrusted;
    ends.insert(ends.end(), store.systemRoots.begin(), store.systemRoots.end());
    return ends;
}

CSSM_TP_APPLE_CERT_STATUS DateBits(const Certificate &certificate, std::time_t now) {
    if (now < certificate.NotBefore()) {
        return CSSM_CERT_STATUS_NOT_VALID_YET;
    }
    return now > certificate.NotAfter() ? CSSM_CERT_STATUS_EXPIRED : 0;
}

// A refused certificate carries the refusal alone, neither where it was found nor that it is an anchor: callers take
// both for trust.
CSSM_TP_APPLE_CERT_STATUS SettingsBits(const Certificate &certificate, const TrustInput &input,
                                       const TrustStore &store) {
    if (IsAmong(certificate, store.userRefused)) {
        return CSSM_CERT_STATUS_TRUST_SETTINGS_DENY;
    }
    if (input.anchors) {
        return 0;
    }
    if (IsAmong(certificate, store.userTrusted)) {
        return CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_USER | CSSM_CERT_STATUS_TRUST_SETTINGS_TRUST;
    }
    if (IsAmong(certificate, store.systemRoots)) {
        return CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_SYSTEM | CSSM_CERT_STATUS_TRUST_SETTINGS_TRUST;
    }
    return 0;
}

CSSM_TP_APPLE_CERT_STATUS BitsOf(const Certificate &certificate, const TrustInput &input, const TrustStore &store,
                                 std::time_t now) {
    CSSM_TP_APPLE_CERT_STATUS bits = DateBits(certificate, now) | SettingsBits(certificate, input, store);
    if (IsAmong(certificate, input.certificates)) {
        bits |= CSSM_CERT_STATUS_IS_IN_INPUT_CERTS;
    }
    const bool isRefused = (bits & CSSM_CERT_STATUS_TRUST_SETTINGS_DENY) != 0;
    if (input.anchors && !isRefused && IsAmong(certificate, *input.anchors)) {
        bits |= CSSM_CERT_STATUS_IS_IN_ANCHORS;
    }
    if (certificate.IsRoot()) {
        bits |= CSSM_CERT_STATUS_IS_ROOT;
    }
    return bits;
}

bool Has(const Judgement &judgement, CSSM_TP_APPLE_CERT_STATUS bit) {
    return std::any_of(judgement.evidence.begin(), judgement.evidence.end(),
                       [bit](const CSSM_TP_APPLE_EVIDENCE_INFO &info) { return (info.StatusBits & bit) != 0; });
}

bool HasExpired(const Judgement &judgement, CSSM_APPLE_TP_ACTION_FLAGS flags) {
    return std::any_of(
        judgement.evidence.begin(), judgement.evidence.end(), [flags](const CSSM_TP_APPLE_EVIDENCE_INFO &info) {
            const bool isRoot = (info.StatusBits & CSSM_CERT_STATUS_IS_ROOT) != 0;
            const auto pardon = isRoot ? CSSM_TP_ACTION_ALLOW_EXPIRED_ROOT : CSSM_TP_ACTION_ALLOW_EXPIRED;
            return (info.StatusBits & CSSM_CERT_STATUS_EXPIRED) && !(flags & pardon);
        });
}

// 0 for a chain that keeps every rule, positive for one that does not, negative for one that cannot be examined.
int Examine(const Certificates &chain) {
    if (std::any_of(chain.begin(), chain.end(), std::mem_fn(&Certificate::HasCostlyKey))) {
        return 1;
    }
    std::vector<gnutls_x509_crt_t> handles;
    for (const Certificate &certificate : chain) {
        handles.push_back(certificate.Handle());
    }
    unsigned faults = 0;
    const int status = gnutls_x509_crt_list_verify(handles.data(), static_cast<int>(handles.size()), &handles.back(), 1,
                                                   nullptr, 0, kAllButDates, &faults);
    return status < 0 ? status : faults != 0;
}

Fault FaultOf(const Judgement &judgement, bool isAnchored, int examination, CSSM_APPLE_TP_ACTION_FLAGS flags) {
    if (Has(judgement, CSSM_CERT_STATUS_TRUST_SETTINGS_DENY)) {
        return Fault::Refused;
    }
    if (!isAnchored) {
        return Fault::NoAnchor;
    }
    if (examination != 0) {
        return Fault::Unsuitable;
    }
    if (Has(judgement, CSSM_CERT_STATUS_NOT_VALID_YET)) {
        return Fault::NotValidYet;
    }
    return HasExpired(judgement, flags) ? Fault::Expired : Fault::None;
}

SecTrustResultType ResultOf(const Judgement &judgement, int examination) {
    switch (judgement.fault) {
    case Fault::Refused:
        return kSecTrustResultDeny;
    case Fault::None:
        return judgement.evidence.back().StatusBits & CSSM_CERT_STATUS_TRUST_SETTINGS_FOUND_USER
                   ? kSecTrustResultProceed
                   : kSecTrustResultUnspecified;
    case Fault::Unsuitable:
        return examination < 0 ? kSecTrustResultFatalTrustFailure : kSecTrustResultRecoverableTrustFailure;
    case Fault::NoAnchor:
    case Fault::NotValidYet:
    case Fault::Expired:
        break;
    }
    return kSecTrustResultRecoverableTrustFailure;
}

} // namespace

Judgement Judge(const TrustInput &input, const TrustStore &store, std::time_t now) {
    Judgement judgement;
    ChainBuilder builder(input.certificates, EndsOf(input, store), now);
    const bool isAnchored = builder.Build(input.certificates.front(), judgement.chain);
    for (const Certificate &certificate : judgement.chain) {
        judgement.evidence.push_back({BitsOf(certificate, input, store, now)});
    }
    const int examination = isAnchored ? Examine(judgement.chain) : 0;
    judgement.fault = FaultOf(judgement, isAnchored, examination, input.flags);
    judgement.result = ResultOf(judgement, examination);
    return judgement;
}

} // namespace sec
