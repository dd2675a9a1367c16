#include "site/keys/SiteKeys.h"

#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

#include "site/Files.h"
#include "site/keys/Signatures.h"

namespace fs = std::filesystem;

namespace lumsite {
namespace {

constexpr int kKeyBits = 2048; // the largest common size whose PEM file stays below kLongestKeyFile
constexpr std::time_t kSoon = 30 * 86400;
constexpr const char *kAuthorityName = "Demonstration Authority";

void Demand(bool done, const char *what) {
    if (!done) {
        throw SiteError(std::string("the crypto library cannot ") + what);
    }
}

void AddExtension(X509 *certificate, X509 *issuer, int kind, const char *value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION *extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
    Demand(extension && X509_add_ext(certificate, extension, -1) == 1, "make a certificate extension");
    X509_EXTENSION_free(extension);
}

void SetRandomSerial(X509 *certificate) {
    const std::unique_ptr<BIGNUM, decltype(&BN_free)> number(BN_new(), BN_free);
    Demand(BN_rand(number.get(), 127, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
               BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)),
           "make a serial number");
}

void RefusePublishedFolder(const fs::path &folder) {
    for (fs::path at = fs::absolute(folder).lexically_normal(); at.has_relative_path(); at = at.parent_path()) {
        if (fs::exists(at / "lummac.ini")) {
            throw SiteError(folder.string() + " lies in the published folder " + at.string() +
                            "; keep keys where no visitor can ask for them");
        }
    }
}

void RefuseOtherName(const std::string &commonName) {
    if (!IsVendorName(commonName)) {
        throw SiteError("the extension refuses a certificate for \"" + commonName + "\"; choose " + VendorNameRule());
    }
}

// The folder, made new, or taken when it is empty, and closed to others.
void TakeFolder(const fs::path &folder) {
    RefusePublishedFolder(folder);
    std::error_code error;
    if (fs::exists(folder) && (!fs::is_directory(folder) || !fs::is_empty(folder, error))) {
        throw SiteError(folder.string() +
                        " is there already and not empty; nothing is overwritten, choose a new folder");
    }
    if (!fs::exists(folder)) {
        fs::create_directories(fs::absolute(folder).lexically_normal().parent_path(), error);
        if (mkdir(folder.c_str(), S_IRWXU) != 0) {
            ThrowSystemError("cannot make", folder);
        }
    }
    fs::permissions(folder, fs::perms::owner_all);
}

struct Authority {
    KeyPtr key;
    std::vector<Certificate> chain; // outermost first; the last one's key is `key`
};

Authority MakeAuthority(const InitOptions &options) {
    const Validity validity = ForDays(options.authorityDays);
    Authority authority{MakeKey(), {}};
    authority.chain.push_back(
        Issue(kAuthorityName, authority.key.get(), {nullptr, authority.key.get()}, validity, true));
    for (int i = 1; i <= options.intermediates; ++i) {
        KeyPtr key = MakeKey();
        const Issuer above{&authority.chain.back(), authority.key.get()};
        authority.chain.push_back(
            Issue(std::string(kAuthorityName) + " " + std::to_string(i), key.get(), above, validity, true));
        authority.key = std::move(key);
    }
    return authority;
}

Authority ReadAuthority(const fs::path &folder) {
    if (!fs::exists(folder / "ca.key")) {
        throw SiteError(folder.string() +
                        " holds no authority (ca.key); name a folder that lumsite init made, or leave it "
                        "to the authority that issued the certificate");
    }
    Authority authority{ReadPemKey(folder / "ca.key"), ReadPemCertificates(folder / "chain.pem")};
    if (!authority.chain.back().HasKey(authority.key.get())) {
        throw SiteError((folder / "ca.key").string() + " is not the key of the last certificate in chain.pem");
    }
    return authority;
}

Certificate IssueForSite(const Authority &authority, EVP_PKEY *key, const std::string &commonName, int days) {
    Validity validity = ForDays(days);
    validity.until = std::min(validity.until, authority.chain.back().NotAfter());
    return Issue(commonName, key, {&authority.chain.back(), authority.key.get()}, validity, false);
}

} // namespace

Validity ForDays(int days) {
    const std::time_t now = std::time(nullptr);
    return {now - 300, now + static_cast<std::time_t>(days) * 86400};
}

KeyPtr MakeKey() {
    KeyPtr key(EVP_RSA_gen(kKeyBits));
    Demand(key != nullptr, "make a key");
    return key;
}

Certificate Issue(const std::string &commonName, EVP_PKEY *key, const Issuer &issuer, Validity validity,
                  bool authority) {
    Certificate made(X509_new());
    X509 *certificate = made.get();
    X509_set_version(certificate, X509_VERSION_3);
    SetRandomSerial(certificate);
    ASN1_TIME_set(X509_getm_notBefore(certificate), validity.from);
    ASN1_TIME_set(X509_getm_notAfter(certificate), validity.until);
    X509_NAME *name = X509_get_subject_name(certificate);
    const auto add = [&](const char *field, const std::string &text) {
        return X509_NAME_add_entry_by_txt(name, field, MBSTRING_UTF8,
                                          reinterpret_cast<const unsigned char *>(text.data()),
                                          static_cast<int>(text.size()), -1, 0) == 1;
    };
    if (!add("O", LUM_VENDOR_ORGANISATION) || (!commonName.empty() && !add("CN", commonName))) {
        throw SiteError("\"" + commonName + "\" cannot be a common name; it must be UTF-8 of at most 64 characters");
    }
    X509 *above = issuer.certificate ? issuer.certificate->get() : certificate;
    X509_set_issuer_name(certificate, X509_get_subject_name(above));
    Demand(X509_set_pubkey(certificate, key) == 1, "put the key into the certificate");
    AddExtension(certificate, above, NID_basic_constraints, authority ? "critical,CA:TRUE" : "critical,CA:FALSE");
    AddExtension(certificate, above, NID_key_usage,
                 authority ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature");
    AddExtension(certificate, above, NID_subject_key_identifier, "hash");
    AddExtension(certificate, above, NID_authority_key_identifier, "keyid:always");
    Demand(X509_sign(certificate, issuer.key, EVP_sha256()) > 0, "sign the certificate");
    return made;
}

std::string KeyToPem(EVP_PKEY *key) {
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> out(BIO_new(BIO_s_mem()), BIO_free_all);
    Demand(PEM_write_bio_PrivateKey_traditional(out.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1,
           "write the key");
    char *data = nullptr;
    const long length = BIO_get_mem_data(out.get(), &data);
    return {data, static_cast<size_t>(length)};
}

void MakeKeys(const fs::path &folder, const InitOptions &options) {
    RefuseOtherName(options.commonName);
    const Authority authority = options.issuers.empty() ? MakeAuthority(options) : ReadAuthority(options.issuers);
    const KeyPtr key = MakeKey();
    const Certificate site = IssueForSite(authority, key.get(), options.commonName, options.days);
    std::string chain;
    for (const Certificate &certificate : authority.chain) {
        chain += certificate.Pem();
    }
    TakeFolder(folder);
    WriteSecretFile(folder / "ca.key", KeyToPem(authority.key.get()));
    WriteSecretFile(folder / "vendor.key", KeyToPem(key.get()));
    WriteSecretFile(folder / "ca.pem", authority.chain.front().Pem());
    WriteSecretFile(folder / "chain.pem", chain);
    WriteSecretFile(folder / "vendor.pem", site.Pem());
}

void RenewCertificate(const fs::path &folder, const std::string &commonName, int days) {
    const Authority authority = ReadAuthority(folder);
    const KeyPtr key = ReadPemKey(folder / "vendor.key");
    const std::string name =
        commonName.empty() ? ReadPemCertificates(folder / "vendor.pem").front().CommonName() : commonName;
    RefuseOtherName(name);
    ReplaceFile(folder / "vendor.pem", IssueForSite(authority, key.get(), name, days).Pem());
}

SiteKeys::SiteKeys(const fs::path &folder) : m_keyPath(folder / "vendor.key") {
    struct stat status;
    if (stat(m_keyPath.c_str(), &status) != 0) {
        ThrowSystemError("cannot read", m_keyPath);
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        throw SiteError(m_keyPath.string() + " may be read by others; run: chmod 600 " + m_keyPath.string());
    }
    if (static_cast<size_t>(status.st_size) > kLongestKeyFile) {
        throw SiteError(m_keyPath.string() + " has " + std::to_string(status.st_size) +
                        " bytes, and signing reads only " + std::to_string(kLongestKeyFile) +
                        "; use an RSA key of 2048 bits, and take comments out of the file");
    }
    const KeyPtr key = ReadPemKey(m_keyPath);
    if (fs::exists(folder / "chain.pem")) {
        m_chain = ReadPemCertificates(folder / "chain.pem");
    }
    const std::string certificatePath = folder / "vendor.pem";
    const Certificate own = ReadPemCertificates(certificatePath).front();
    m_chain.push_back(own);
    if (!own.HasKey(key.get())) {
        throw SiteError(certificatePath + " was not issued for " + m_keyPath.string() +
                        "; visitors would refuse every package. Put the two that belong together into the folder");
    }
    if (!own.HasRsaKey()) {
        throw SiteError(m_keyPath.string() + " is no RSA key; the extension verifies RSA signatures only");
    }
    if (!IsVendorName(own.CommonName())) {
        throw SiteError(certificatePath + " is for \"" + own.CommonName() +
                        "\", which the extension refuses; it needs " + VendorNameRule());
    }
    const std::time_t now = std::time(nullptr);
    if (own.NotAfter() <= now || own.NotBefore() > now) {
        throw SiteError(certificatePath + " is valid from " + DateText(own.NotBefore()) + " to " +
                        DateText(own.NotAfter()) + " only; renew it (lumsite init --renew " + folder.string() +
                        ", or your authority)");
    }
    if (own.NotAfter() <= now + kSoon) {
        m_findings.push_back({Severity::Warning, certificatePath, "ends on " + DateText(own.NotAfter()),
                              "renew it, and publish again, before that day"});
    }
}

std::string SiteKeys::Sign(const std::string &hashText) const {
    const std::string signature = SignText(m_keyPath, hashText);
    if (signature.empty()) {
        throw SiteError("cannot sign with " + m_keyPath.string() + "; is it a PEM file with one RSA key?");
    }
    return ToBase64(signature);
}

} // namespace lumsite
