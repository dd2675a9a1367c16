#include "site/keys/Certificates.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <cerrno>
#include <cstdint>

#include <sys/stat.h>

#include "base/Files.h"

namespace lumsite {

namespace {

// Larger files are not PEM files of a site.
constexpr std::uint64_t kLargestPem = 1 << 20;

struct BioFreer {
    void operator()(BIO *bio) const {
        BIO_free_all(bio);
    }
};
using ScopedBio = std::unique_ptr<BIO, BioFreer>;

std::string TextOf(BIO *bio) {
    char *data = nullptr;
    const long length = BIO_get_mem_data(bio, &data);
    return {data, static_cast<std::size_t>(length)};
}

std::string NameText(const X509_NAME *name) {
    const ScopedBio out(BIO_new(BIO_s_mem()));
    X509_NAME_print_ex(out.get(), name, 0, XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB);
    return TextOf(out.get());
}

std::time_t TimeOf(const ASN1_TIME *time) {
    std::tm parts{};
    return ASN1_TIME_to_tm(time, &parts) == 1 ? timegm(&parts) : 0;
}

} // namespace

void KeyFreer::operator()(EVP_PKEY *key) const {
    EVP_PKEY_free(key);
}

Certificate::Certificate(X509 *certificate) : m_certificate(certificate, X509_free) {}

std::string Certificate::Der() const {
    unsigned char *bytes = nullptr;
    const int length = i2d_X509(get(), &bytes);
    const std::unique_ptr<unsigned char, void (*)(unsigned char *)> owner(bytes,
                                                                          [](unsigned char *p) { OPENSSL_free(p); });
    return length > 0 ? std::string(reinterpret_cast<char *>(bytes), static_cast<std::size_t>(length)) : "";
}

std::string Certificate::Pem() const {
    const ScopedBio out(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509(out.get(), get());
    return TextOf(out.get());
}

std::string Certificate::Subject() const {
    return NameText(X509_get_subject_name(get()));
}
std::string Certificate::Issuer() const {
    return NameText(X509_get_issuer_name(get()));
}

std::string Certificate::CommonName() const {
    const X509_NAME *name = X509_get_subject_name(get());
    int last = -1;
    for (int at; (at = X509_NAME_get_index_by_NID(name, NID_commonName, last)) >= 0;) {
        last = at;
    }
    if (last < 0) {
        return "";
    }
    unsigned char *utf8 = nullptr;
    const int length = ASN1_STRING_to_UTF8(&utf8, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, last)));
    if (length < 0) {
        return "";
    }
    std::string text(reinterpret_cast<char *>(utf8), static_cast<std::size_t>(length));
    OPENSSL_free(utf8);
    return text;
}

std::time_t Certificate::NotBefore() const {
    return TimeOf(X509_get0_notBefore(get()));
}
std::time_t Certificate::NotAfter() const {
    return TimeOf(X509_get0_notAfter(get()));
}

bool Certificate::HasRsaKey() const {
    const EVP_PKEY *key = X509_get0_pubkey(get());
    return key && EVP_PKEY_get_base_id(key) == EVP_PKEY_RSA;
}

bool Certificate::HasKey(EVP_PKEY *key) const {
    const bool same = X509_check_private_key(get(), key) == 1;
    ERR_clear_error();
    return same;
}

base::Result<std::vector<Certificate>> ReadPemCertificates(const std::filesystem::path &path) {
    const base::Result<std::string> text = base::ReadWhole(path, kLargestPem);
    if (!text) {
        return base::Fail(text.error());
    }
    const ScopedBio in(BIO_new_mem_buf(text->data(), static_cast<int>(text->size())));
    std::vector<Certificate> certificates;
    while (X509 *certificate = PEM_read_bio_X509(in.get(), nullptr, nullptr, nullptr)) {
        certificates.emplace_back(certificate);
    }
    ERR_clear_error();
    if (certificates.empty()) {
        return base::Fail(path.string() +
                          " does not contain a certificate; it must be PEM text (-----BEGIN CERTIFICATE-----)");
    }
    return certificates;
}

base::Result<void> CheckKeyIsPrivate(const std::filesystem::path &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return base::SystemFailure("cannot read " + path.string(), errno);
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        return base::Fail("other users can access " + path.string() + "; run: chmod 600 " + path.string());
    }
    return {};
}

base::Result<ScopedKey> ReadPemKey(const std::filesystem::path &path) {
    base::Result<std::string> text = base::ReadWhole(path, kLargestPem);
    if (!text) {
        return base::Fail(text.error());
    }
    const ScopedBio in(BIO_new_mem_buf(text->data(), static_cast<int>(text->size())));
    // A pass phrase cannot be asked for: signing reads the file without one.
    const auto noPassPhrase = [](char *, int, int, void *) { return -1; };
    // The text stays as it is until the key is read. NOLINTNEXTLINE(clang-analyzer-cplusplus.InnerPointer)
    ScopedKey key(PEM_read_bio_PrivateKey(in.get(), nullptr, noPassPhrase, nullptr));
    OPENSSL_cleanse(text->data(), text->size());
    ERR_clear_error();
    if (!key) {
        return base::Fail(path.string() + " does not contain a private key; it must be PEM text without a pass phrase");
    }
    return key;
}

std::string ToBase64(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()),
                        reinterpret_cast<const unsigned char *>(bytes.data()), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::string ToCertification(const std::vector<Certificate> &chain) {
    std::string text;
    for (const Certificate &certificate : chain) {
        text += (text.empty() ? "" : "|") + ToBase64(certificate.Der());
    }
    return text;
}

bool IsVendorName(std::string_view commonName) {
    return commonName.ends_with(LUM_VENDOR_SUFFIX) || commonName.ends_with(LUM_VENDOR_ORGANISATION);
}

std::string VendorNameRule() {
    return "a name that ends with \"" LUM_VENDOR_SUFFIX "\" or \"" LUM_VENDOR_ORGANISATION "\"";
}

std::string ReasonAgainstChain(const std::vector<Certificate> &chain, const std::vector<Certificate> &anchors,
                               bool chainIsAnchor, bool systemRoots, std::time_t now) {
    const std::unique_ptr<X509_STORE, decltype(&X509_STORE_free)> store(X509_STORE_new(), X509_STORE_free);
    const std::unique_ptr<STACK_OF(X509), void (*)(STACK_OF(X509) *)> others(
        sk_X509_new_null(), [](STACK_OF(X509) * stack) { sk_X509_free(stack); });
    for (const Certificate &anchor : anchors) {
        X509_STORE_add_cert(store.get(), anchor.get());
    }
    for (std::size_t i = 0; i + 1 < chain.size(); ++i) {
        sk_X509_push(others.get(), chain[i].get());
        if (chainIsAnchor) {
            X509_STORE_add_cert(store.get(), chain[i].get());
        }
    }
    if (systemRoots) {
        X509_STORE_set_default_paths(store.get());
    }
    X509_STORE_set_flags(store.get(), X509_V_FLAG_PARTIAL_CHAIN);
    const std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> context(X509_STORE_CTX_new(),
                                                                                  X509_STORE_CTX_free);
    X509_STORE_CTX_init(context.get(), store.get(), chain.back().get(), others.get());
    X509_VERIFY_PARAM_set_time(X509_STORE_CTX_get0_param(context.get()), now);
    std::string reason;
    if (X509_verify_cert(context.get()) != 1) {
        reason = X509_verify_cert_error_string(X509_STORE_CTX_get_error(context.get()));
        const X509 *at = X509_STORE_CTX_get_current_cert(context.get());
        if (at) {
            reason += " (at " + NameText(X509_get_subject_name(at)) + ")";
        }
    }
    ERR_clear_error();
    return reason;
}

std::string DateText(std::time_t time) {
    std::tm parts{};
    gmtime_r(&time, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d", &parts);
    return text;
}

} // namespace lumsite
