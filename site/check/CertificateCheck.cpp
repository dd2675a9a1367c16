#include "site/check/CertificateCheck.h"

#include <ctime>

#include <openssl/x509.h>

#include "lum/security/Decoders.h"
#include "site/keys/Signatures.h"

namespace lumsite {

namespace {

using base::Findings;
using base::Severity;

constexpr std::size_t kShortestCertification = 11; // anything shorter is rejected unread
constexpr const char *kPublishAgain = "put the \"lumcertification\" of a fresh publish into the page";

class CertificationExaminer {
public:
    CertificationExaminer(const std::string &text, const std::string &where, const std::vector<Certificate> &trusted,
                          int soonDays)
        : m_text(text), m_where(where), m_trusted(trusted), m_soonDays(soonDays) {}

    Findings Run();

private:
    void Add(Severity severity, const std::string &what, const std::string &remedy) {
        m_findings.push_back({severity, m_where, what, remedy});
    }
    // False when the site's own certificate cannot be read.
    bool ReadChain();
    void ExamineDates(const Certificate &certificate, bool isOwn);
    void ExamineTrust();

    const std::string &m_text;
    const std::string &m_where;
    const std::vector<Certificate> &m_trusted;
    const int m_soonDays;
    std::vector<Certificate> m_chain;
    Findings m_findings;
};

bool CertificationExaminer::ReadChain() {
    bool ownIsRead = false;
    int number = 0;
    for (std::size_t start = 0, end = 0; end != std::string::npos; start = end + 1) {
        end = m_text.find('|', start);
        ++number;
        const std::string der = DecodeBase64(m_text.substr(start, end - start));
        const unsigned char *bytes = reinterpret_cast<const unsigned char *>(der.data());
        X509 *certificate = d2i_X509(nullptr, &bytes, static_cast<long>(der.size()));
        if (certificate) {
            m_chain.emplace_back(certificate);
            ownIsRead = end == std::string::npos;
        } else {
            Add(Severity::Error,
                "piece " + std::to_string(number) +
                    " of lumcertification is not a certificate (base64 of DER, on one line)",
                kPublishAgain);
        }
    }
    return ownIsRead;
}

void CertificationExaminer::ExamineDates(const Certificate &certificate, bool isOwn) {
    const std::time_t now = std::time(nullptr);
    const std::string which =
        (isOwn ? "the site's certificate " : "the authority's certificate ") + certificate.Subject();
    const std::string renew =
        isOwn ? "renew it for the same key, and publish again (lumsite init --renew, or your authority)"
              : "get the authority's new certificate, put it into chain.pem and publish again";
    if (certificate.NotBefore() > now) {
        Add(Severity::Error, which + " is not valid before " + DateText(certificate.NotBefore()),
            "correct this computer's clock, or wait for that day");
    } else if (certificate.NotAfter() < now) {
        Add(Severity::Error, which + " expired on " + DateText(certificate.NotAfter()), renew);
    } else if (certificate.NotAfter() < now + static_cast<std::time_t>(m_soonDays) * 86400) {
        Add(Severity::Warning, which + " expires on " + DateText(certificate.NotAfter()), renew);
    }
}

void CertificationExaminer::ExamineTrust() {
    // Dates have findings of their own: the path is judged as of a day when the site's certificate was valid.
    const std::time_t valid = (m_chain.back().NotBefore() + m_chain.back().NotAfter()) / 2;
    const std::time_t now = std::time(nullptr);
    const bool isValidNow = m_chain.back().NotBefore() <= now && now <= m_chain.back().NotAfter();
    const std::time_t day = isValidNow ? now : valid;
    if (ReasonAgainstChain(m_chain, m_trusted, false, false, day).empty() ||
        ReasonAgainstChain(m_chain, m_trusted, false, true, day).empty()) {
        return;
    }
    const std::string withChain = ReasonAgainstChain(m_chain, m_trusted, true, false, day);
    if (!withChain.empty()) {
        Add(Severity::Error,
            "the site's certificate was not issued by the certificates before it: " + withChain +
                "; visitors are asked whether they trust it, or are turned away",
            "put the issuing authority's certificates, outermost first, into chain.pem and publish again");
        return;
    }
    Add(Severity::Note,
        "the chain ends in " + m_chain.front().Issuer() +
            ", which this computer does not trust; an extension built to trust only known roots rejects the site",
        "name that root with --ca if visitors trust it, or use a certificate of an authority that they do");
}

Findings CertificationExaminer::Run() {
    if (m_text.size() < kShortestCertification) {
        Add(Severity::Error,
            m_text.empty() ? "the page has no lumcertification; every package is rejected"
                           : "lumcertification is too short to hold a certificate",
            kPublishAgain);
        return m_findings;
    }
    if (!ReadChain()) {
        return m_findings;
    }
    const Certificate &own = m_chain.back();
    if (!SiteCertificateKey(m_text).valid()) {
        Add(Severity::Error, "the site's certificate " + own.Subject() + " has no RSA key",
            "use an RSA key of 2048 bits");
    }
    if (!IsVendorName(own.CommonName())) {
        Add(Severity::Error,
            own.CommonName().empty() ? "the site's certificate has no common name"
                                     : "the site's certificate is for \"" + own.CommonName() + "\", which is rejected",
            "use a certificate for " + VendorNameRule());
    }
    for (std::size_t i = 0; i < m_chain.size(); ++i) {
        ExamineDates(m_chain[i], i + 1 == m_chain.size());
    }
    ExamineTrust();
    return m_findings;
}

} // namespace

Findings ExamineCertification(const std::string &certification, const std::string &where,
                              const std::vector<Certificate> &trusted, int soonDays) {
    return CertificationExaminer(certification, where, trusted, soonDays).Run();
}

} // namespace lumsite
