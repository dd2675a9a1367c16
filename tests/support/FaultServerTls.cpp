#include "tests/support/FaultServerTls.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>

namespace {

struct Free {
    void operator()(EVP_PKEY *key) const {
        EVP_PKEY_free(key);
    }
    void operator()(X509 *certificate) const {
        X509_free(certificate);
    }
    void operator()(X509_EXTENSION *extension) const {
        X509_EXTENSION_free(extension);
    }
    void operator()(BIO *bio) const {
        BIO_free(bio);
    }
};
template <typename T> using Scoped = std::unique_ptr<T, Free>;

constexpr long kDay = 86'400;

void Check(bool done, const char *what) {
    if (!done) {
        std::fprintf(stderr, "fault server: cannot %s\n", what);
        std::abort();
    }
}

void AddExtension(X509 *certificate, X509 *issuer, int id, const char *value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Scoped<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, id, value));
    Check(extension && X509_add_ext(certificate, extension.get(), -1), "add an extension");
}

struct Identity {
    Scoped<EVP_PKEY> key;
    Scoped<X509> certificate;
};

// `issuer` null: its own issuer. `host` null: an authority.
Identity Make(const char *name, const char *host, long fromDay, long toDay, const Identity *issuer) {
    static long serial = 1;
    Identity made{Scoped<EVP_PKEY>(EVP_EC_gen("P-256")), Scoped<X509>(X509_new())};
    Check(made.key && made.certificate, "make a key");
    X509 *const certificate = made.certificate.get();
    X509 *const signer = issuer ? issuer->certificate.get() : certificate;
    X509_set_version(certificate, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), serial++);
    X509_gmtime_adj(X509_getm_notBefore(certificate), fromDay * kDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate), toDay * kDay);
    X509_set_pubkey(certificate, made.key.get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char *>(name), -1, -1, 0);
    X509_set_issuer_name(certificate, X509_get_subject_name(signer));
    if (host) {
        AddExtension(certificate, signer, NID_subject_alt_name, host);
    } else {
        AddExtension(certificate, signer, NID_basic_constraints, "critical,CA:TRUE");
        AddExtension(certificate, signer, NID_key_usage, "critical,keyCertSign,cRLSign");
    }
    Check(X509_sign(certificate, (issuer ? issuer : &made)->key.get(), EVP_sha256()), "sign a certificate");
    return made;
}

Identity MakeServer(FaultServer::Tls kind, const Identity &authority) {
    constexpr char here[] = "IP:127.0.0.1,DNS:localhost";
    switch (kind) {
    case FaultServer::Tls::Expired:
        return Make("expired", here, -20, -10, &authority);
    case FaultServer::Tls::WrongName:
        return Make("elsewhere", "DNS:elsewhere.example", -1, 10, &authority);
    case FaultServer::Tls::SelfSigned:
        return Make("self", here, -1, 10, nullptr);
    default:
        return Make("good", here, -1, 10, &authority);
    }
}

std::string Pem(X509 *certificate) {
    const Scoped<BIO> memory(BIO_new(BIO_s_mem()));
    Check(memory && PEM_write_bio_X509(memory.get(), certificate), "write a certificate");
    char *data = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

} // namespace

ScopedTlsContext MakeTlsContext(FaultServer::Tls kind, std::string *authority) {
    const Identity root = Make("fault server authority", nullptr, -30, 30, nullptr);
    const Identity server = MakeServer(kind, root);
    ScopedTlsContext context(SSL_CTX_new(TLS_server_method()));
    Check(context && SSL_CTX_use_certificate(context.get(), server.certificate.get()) == 1 &&
              SSL_CTX_use_PrivateKey(context.get(), server.key.get()) == 1,
          "set up TLS");
    *authority = Pem(root.certificate.get());
    return context;
}
