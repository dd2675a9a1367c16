#include "tests/support/TestCertificates.h"

#include <arpa/inet.h>
#include <gnutls/abstract.h>
#include <gnutls/gnutls.h>
#include <gtest/gtest.h>

#include <atomic>

namespace {

void Check(int status) {
    if (status < 0) {
        ADD_FAILURE() << "cannot make a certificate: " << gnutls_strerror(status);
        std::abort();
    }
}

// The private exponent as the public one, so that each check takes as long as a signature without its shortcuts.
void ExchangeExponents(gnutls_x509_privkey_t key) {
    gnutls_datum_t m, e, d, p, q, u;
    Check(gnutls_x509_privkey_export_rsa_raw(key, &m, &e, &d, &p, &q, &u));
    gnutls_x509_privkey_t other = nullptr;
    Check(gnutls_x509_privkey_init(&other));
    Check(gnutls_x509_privkey_import_rsa_raw2(other, &m, &d, &e, &p, &q, &u, nullptr, nullptr));
    Check(gnutls_x509_privkey_cpy(key, other));
    gnutls_x509_privkey_deinit(other);
    for (const gnutls_datum_t &number : {m, e, d, p, q, u}) {
        gnutls_free(number.data);
    }
}

void Generate(gnutls_x509_privkey_t key, KeyKind kind) {
    if (kind == KeyKind::P256) {
        Check(gnutls_x509_privkey_generate(key, GNUTLS_PK_ECDSA, GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1), 0));
    } else {
        Check(gnutls_x509_privkey_generate(key, GNUTLS_PK_RSA, kind == KeyKind::Rsa1024 ? 1024 : 2048, 0));
    }
    if (kind == KeyKind::RsaWithLongExponent) {
        ExchangeExponents(key);
    }
}

void SetName(gnutls_x509_crt_t certificate, const char *identifier, const std::string &text) {
    if (!text.empty()) {
        Check(
            gnutls_x509_crt_set_dn_by_oid(certificate, identifier, 0, text.data(), static_cast<unsigned>(text.size())));
    }
}

std::string TakeText(gnutls_datum_t datum) {
    std::string text(reinterpret_cast<char *>(datum.data), datum.size);
    gnutls_free(datum.data);
    return text;
}

struct Handle {
    gnutls_x509_crt_t crt = nullptr;
    Handle() {
        Check(gnutls_x509_crt_init(&crt));
    }
    ~Handle() {
        gnutls_x509_crt_deinit(crt);
    }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
};

void AddHost(gnutls_x509_crt_t certificate, const std::string &host) {
    in_addr address{};
    if (inet_pton(AF_INET, host.c_str(), &address) == 1) {
        Check(gnutls_x509_crt_set_subject_alt_name(certificate, GNUTLS_SAN_IPADDRESS, &address, sizeof address,
                                                   GNUTLS_FSAN_APPEND));
    } else {
        Check(gnutls_x509_crt_set_subject_alt_name(certificate, GNUTLS_SAN_DNSNAME, host.data(),
                                                   static_cast<unsigned>(host.size()), GNUTLS_FSAN_APPEND));
    }
}

void Import(const Handle &handle, const std::string &der) {
    const gnutls_datum_t datum = {reinterpret_cast<unsigned char *>(const_cast<char *>(der.data())),
                                  static_cast<unsigned>(der.size())};
    Check(gnutls_x509_crt_import(handle.crt, &datum, GNUTLS_X509_FMT_DER));
}

void FillIn(gnutls_x509_crt_t crt, const CertificatePlan &plan) {
    static std::atomic<unsigned char> serial = 0;
    const unsigned char number[] = {1, ++serial};
    const std::time_t now = std::time(nullptr);
    Check(gnutls_x509_crt_set_version(crt, 3));
    Check(gnutls_x509_crt_set_serial(crt, number, sizeof number));
    Check(gnutls_x509_crt_set_activation_time(crt, now + plan.fromDay * kDay));
    Check(gnutls_x509_crt_set_expiration_time(crt, now + plan.toDay * kDay));
    Check(gnutls_x509_crt_set_basic_constraints(crt, plan.isAuthority, -1));
    if (plan.isAuthority) {
        Check(gnutls_x509_crt_set_key_usage(crt, GNUTLS_KEY_KEY_CERT_SIGN | GNUTLS_KEY_CRL_SIGN));
    }
    for (const std::string &host : plan.hosts) {
        AddHost(crt, host);
    }
    SetName(crt, GNUTLS_OID_X520_ORGANIZATION_NAME, plan.organisation);
    SetName(crt, GNUTLS_OID_X520_COMMON_NAME, plan.commonNameBefore);
    SetName(crt, GNUTLS_OID_X520_COMMON_NAME, plan.commonName);
}

} // namespace

struct TestCertificate::Key {
    gnutls_x509_privkey_t key = nullptr;
    explicit Key(KeyKind kind) {
        Check(gnutls_x509_privkey_init(&key));
        Generate(key, kind);
    }
    ~Key() {
        gnutls_x509_privkey_deinit(key);
    }
};

TestCertificate::TestCertificate(const CertificatePlan &plan) : TestCertificate(plan, nullptr) {}

TestCertificate::TestCertificate(const CertificatePlan &plan, const TestCertificate &issuer)
    : TestCertificate(plan, &issuer) {}

TestCertificate::TestCertificate(const CertificatePlan &plan, const TestCertificate *issuer)
    : m_key(std::make_shared<Key>(plan.key)) {
    const Handle own;
    FillIn(own.crt, plan);
    Check(gnutls_x509_crt_set_key(own.crt, m_key->key));
    const Handle other;
    if (issuer) {
        Import(other, issuer->m_der);
    }
    Check(gnutls_x509_crt_sign2(own.crt, issuer ? other.crt : own.crt, issuer ? issuer->m_key->key : m_key->key,
                                plan.isSignedWithSha1 ? GNUTLS_DIG_SHA1 : GNUTLS_DIG_SHA256, 0));
    gnutls_datum_t der = {nullptr, 0};
    Check(gnutls_x509_crt_export2(own.crt, GNUTLS_X509_FMT_DER, &der));
    m_der = TakeText(der);
}

TestCertificate TestCertificate::Damaged() const {
    TestCertificate damaged = *this;
    damaged.m_der.back() = static_cast<char>(damaged.m_der.back() ^ 1);
    return damaged;
}

std::string TestCertificate::Pem() const {
    const Handle handle;
    Import(handle, m_der);
    gnutls_datum_t pem = {nullptr, 0};
    Check(gnutls_x509_crt_export2(handle.crt, GNUTLS_X509_FMT_PEM, &pem));
    return TakeText(pem);
}

std::string TestCertificate::KeyPem() const {
    gnutls_datum_t pem = {nullptr, 0};
    Check(gnutls_x509_privkey_export2(m_key->key, GNUTLS_X509_FMT_PEM, &pem));
    return TakeText(pem);
}
