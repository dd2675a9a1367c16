#include "lum/platform/linux/trust/Certificate.h"

#include <gnutls/gnutls.h>

#include <algorithm>

namespace sec {
namespace {

constexpr std::size_t kLargestDer = 256 << 10;
constexpr unsigned kLargestKey = 8192;         // bits
constexpr std::ptrdiff_t kLongestExponent = 8; // bytes

// The signature alone: dates, purposes and strength are judged over the whole chain.
constexpr unsigned kSignatureOnly = GNUTLS_VERIFY_DISABLE_TIME_CHECKS | GNUTLS_VERIFY_DISABLE_TRUSTED_TIME_CHECKS |
                                    GNUTLS_VERIFY_DISABLE_CA_SIGN | GNUTLS_VERIFY_DO_NOT_ALLOW_SAME |
                                    GNUTLS_VERIFY_ALLOW_BROKEN;

gnutls_datum_t Datum(ByteSpan bytes) {
    return {const_cast<unsigned char *>(bytes.data()), static_cast<unsigned int>(bytes.size())};
}

} // namespace

Certificate::Parsed::~Parsed() {
    if (handle) {
        gnutls_x509_crt_deinit(handle);
    }
}

std::optional<Certificate> Certificate::FromDer(ByteSpan der) {
    const auto parsed = std::make_shared<Parsed>();
    if (gnutls_x509_crt_init(&parsed->handle) != GNUTLS_E_SUCCESS) {
        return std::nullopt;
    }
    const gnutls_datum_t datum = Datum(der);
    if (der.empty() || der.size() > kLargestDer ||
        gnutls_x509_crt_import(parsed->handle, &datum, GNUTLS_X509_FMT_DER) != GNUTLS_E_SUCCESS) {
        return std::nullopt;
    }
    parsed->der.assign(der.begin(), der.end());
    return Certificate(parsed);
}

std::vector<Certificate> Certificate::FromFileContent(ByteSpan content) {
    if (const std::optional<Certificate> certificate = FromDer(content)) {
        return {*certificate};
    }
    gnutls_x509_crt_t *list = nullptr;
    unsigned count = 0;
    const gnutls_datum_t datum = Datum(content);
    if (content.empty() || gnutls_x509_crt_list_import2(&list, &count, &datum, GNUTLS_X509_FMT_PEM, 0) < 0) {
        return {};
    }
    std::vector<Certificate> certificates;
    for (gnutls_x509_crt_t handle : std::span(list, count)) {
        gnutls_datum_t der = {nullptr, 0};
        if (gnutls_x509_crt_export2(handle, GNUTLS_X509_FMT_DER, &der) == GNUTLS_E_SUCCESS) {
            if (const auto certificate = FromDer({der.data, der.size})) {
                certificates.push_back(*certificate);
            }
            gnutls_free(der.data);
        }
        gnutls_x509_crt_deinit(handle);
    }
    gnutls_free(list);
    return certificates;
}

bool Certificate::operator==(const Certificate &other) const {
    return m_parsed == other.m_parsed || m_parsed->der == other.m_parsed->der;
}

std::time_t Certificate::NotBefore() const {
    return gnutls_x509_crt_get_activation_time(Handle());
}

std::time_t Certificate::NotAfter() const {
    return gnutls_x509_crt_get_expiration_time(Handle());
}

bool Certificate::NamesAsIssuer(const Certificate &issuer) const {
    return gnutls_x509_crt_check_issuer(Handle(), issuer.Handle()) != 0;
}

bool Certificate::HasCostlyKey() const {
    unsigned bits = 0;
    const int algorithm = gnutls_x509_crt_get_pk_algorithm(Handle(), &bits);
    if (bits > kLargestKey) {
        return true;
    }
    gnutls_datum_t modulus = {nullptr, 0};
    gnutls_datum_t exponent = {nullptr, 0};
    if (algorithm < 0 || gnutls_x509_crt_get_pk_rsa_raw(Handle(), &modulus, &exponent) != GNUTLS_E_SUCCESS) {
        return false;
    }
    const ByteSpan bytes(exponent.data, exponent.size);
    const auto first = std::find_if(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte != 0; });
    const bool isLong = bytes.end() - first > kLongestExponent;
    gnutls_free(modulus.data);
    gnutls_free(exponent.data);
    return isLong;
}

bool Certificate::IsIssuedBy(const Certificate &issuer) const {
    if (!NamesAsIssuer(issuer) || issuer.HasCostlyKey()) {
        return false;
    }
    const gnutls_x509_crt_t handle = issuer.Handle();
    unsigned faults = 0;
    return gnutls_x509_crt_verify(Handle(), &handle, 1, kSignatureOnly, &faults) >= 0 && faults == 0;
}

bool Certificate::IsRoot() const {
    return IsIssuedBy(*this);
}

std::array<unsigned char, 32> Certificate::Sha256Fingerprint() const {
    std::array<unsigned char, 32> digest{};
    std::size_t size = digest.size();
    gnutls_x509_crt_get_fingerprint(Handle(), GNUTLS_DIG_SHA256, digest.data(), &size);
    return digest;
}

bool IsAmong(const Certificate &certificate, std::span<const Certificate> certificates) {
    return std::find(certificates.begin(), certificates.end(), certificate) != certificates.end();
}

} // namespace sec
