#include "site/keys/Issue.h"

#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace lumsite {

namespace {

bool AddExtension(X509 *certificate, X509 *issuer, int kind, const char *value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
        X509V3_EXT_conf_nid(nullptr, &context, kind, value), X509_EXTENSION_free);
    return extension && X509_add_ext(certificate, extension.get(), -1) == 1;
}

bool SetRandomSerial(X509 *certificate) {
    const std::unique_ptr<BIGNUM, decltype(&BN_free)> number(BN_new(), BN_free);
    return BN_rand(number.get(), 127, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
           BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate));
}

bool SetSubject(X509 *certificate, const std::string &commonName) {
    X509_NAME *name = X509_get_subject_name(certificate);
    const auto add = [&](const char *field, const std::string &text) {
        return X509_NAME_add_entry_by_txt(name, field, MBSTRING_UTF8,
                                          reinterpret_cast<const unsigned char *>(text.data()),
                                          static_cast<int>(text.size()), -1, 0) == 1;
    };
    return add("O", LUM_VENDOR_ORGANISATION) && (commonName.empty() || add("CN", commonName));
}

// What a certificate may be used for, and whose it and its issuer are.
bool AddExtensions(X509 *certificate, X509 *issuer, bool authority) {
    return AddExtension(certificate, issuer, NID_basic_constraints,
                        authority ? "critical,CA:TRUE" : "critical,CA:FALSE") &&
           AddExtension(certificate, issuer, NID_key_usage,
                        authority ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature") &&
           AddExtension(certificate, issuer, NID_subject_key_identifier, "hash") &&
           AddExtension(certificate, issuer, NID_authority_key_identifier, "keyid:always");
}

} // namespace

Validity ForDays(int days) {
    const std::time_t now = std::time(nullptr);
    return {now - 300, now + static_cast<std::time_t>(days) * 86400};
}

base::Result<ScopedKey> MakeKey(int bits) {
    ScopedKey key(EVP_RSA_gen(static_cast<unsigned>(bits)));
    if (!key) {
        return base::Fail("the crypto library cannot make a key");
    }
    return key;
}

base::Result<std::string> KeyToPem(EVP_PKEY *key) {
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> out(BIO_new(BIO_s_mem()), BIO_free_all);
    if (PEM_write_bio_PrivateKey_traditional(out.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        return base::Fail("the crypto library cannot write the key");
    }
    char *data = nullptr;
    const long length = BIO_get_mem_data(out.get(), &data);
    return std::string(data, static_cast<std::size_t>(length));
}

base::Result<Certificate> Issue(const std::string &commonName, EVP_PKEY *key, const Issuer &issuer, Validity validity,
                                bool authority) {
    Certificate made(X509_new());
    X509 *certificate = made.get();
    X509 *above = issuer.certificate ? issuer.certificate->get() : certificate;
    X509_set_version(certificate, X509_VERSION_3);
    ASN1_TIME_set(X509_getm_notBefore(certificate), validity.from);
    ASN1_TIME_set(X509_getm_notAfter(certificate), validity.until);
    if (!SetSubject(certificate, commonName)) {
        return base::Fail("\"" + commonName + "\" cannot be a common name; it must be UTF-8 of at most 64 characters");
    }
    X509_set_issuer_name(certificate, X509_get_subject_name(above));
    if (!SetRandomSerial(certificate) || X509_set_pubkey(certificate, key) != 1 ||
        !AddExtensions(certificate, above, authority) || X509_sign(certificate, issuer.key, EVP_sha256()) <= 0) {
        return base::Fail("the crypto library cannot make a certificate for \"" + commonName + "\"");
    }
    return made;
}

} // namespace lumsite
