#include "tests/support/FaultServerTls.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <cstdio>
#include <cstdlib>

#include "tests/support/TestCertificates.h"

namespace {

struct Free {
    void operator()(EVP_PKEY *key) const {
        EVP_PKEY_free(key);
    }
    void operator()(X509 *certificate) const {
        X509_free(certificate);
    }
    void operator()(BIO *bio) const {
        BIO_free(bio);
    }
};
template <typename T> using Scoped = std::unique_ptr<T, Free>;

TestCertificate MakeServer(FaultServer::Tls kind, const TestCertificate &authority) {
    const std::vector<std::string> here = {"127.0.0.1", "localhost"};
    switch (kind) {
    case FaultServer::Tls::Expired:
        return TestCertificate({.commonName = "expired", .fromDay = -20, .toDay = -10, .hosts = here}, authority);
    case FaultServer::Tls::WrongName:
        return TestCertificate({.commonName = "elsewhere", .hosts = {"elsewhere.example"}}, authority);
    case FaultServer::Tls::SelfSigned:
        return TestCertificate({.commonName = "self", .hosts = here});
    default:
        return TestCertificate({.commonName = "good", .hosts = here}, authority);
    }
}

// What `read` makes of the PEM text.
template <auto read> auto Parse(const std::string &pem) {
    const Scoped<BIO> memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return read(memory.get(), nullptr, nullptr, nullptr);
}

} // namespace

ScopedTlsContext MakeTlsContext(FaultServer::Tls kind, std::string *authority) {
    const TestCertificate root({.commonName = "fault server authority", .isAuthority = true, .fromDay = -30});
    const TestCertificate server = MakeServer(kind, root);
    const Scoped<X509> certificate(Parse<PEM_read_bio_X509>(server.Pem()));
    const Scoped<EVP_PKEY> key(Parse<PEM_read_bio_PrivateKey>(server.KeyPem()));
    ScopedTlsContext context(SSL_CTX_new(TLS_server_method()));
    if (!context || SSL_CTX_use_certificate(context.get(), certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1) {
        std::fprintf(stderr, "fault server: cannot set up TLS\n");
        std::abort();
    }
    *authority = root.Pem();
    return context;
}
