#include "site/keys/KeyFolder.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include "base/Files.h"
#include "site/keys/Certificates.h"
#include "site/keys/Issue.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Result;

constexpr const char *kAuthorityName = "Demonstration Authority";

Result<void> RefusePublishedFolder(const fs::path &folder) {
    std::error_code error;
    for (fs::path at = fs::absolute(folder, error).lexically_normal(); at.has_relative_path(); at = at.parent_path()) {
        if (fs::exists(at / "lummac.ini", error)) {
            return Fail(folder.string() + " is inside the published folder " + at.string() +
                        "; keep keys where no visitor can download them");
        }
    }
    return {};
}

Result<void> RefuseOtherName(const std::string &commonName) {
    if (!IsVendorName(commonName)) {
        return Fail("the extension rejects a certificate for \"" + commonName + "\"; choose " + VendorNameRule());
    }
    return {};
}

struct Authority {
    ScopedKey key;
    std::vector<Certificate> chain; // outermost first; the last one's key is `key`
};

// Adds a certificate below the last one, which issues it; the first one issues itself.
Result<void> Extend(Authority &authority, const std::string &name, Validity validity, int bits) {
    Result<ScopedKey> key = MakeKey(bits);
    if (!key) {
        return Fail(key.error());
    }
    const Issuer issuer =
        authority.chain.empty() ? Issuer{nullptr, key->get()} : Issuer{&authority.chain.back(), authority.key.get()};
    Result<Certificate> certificate = Issue(name, key->get(), issuer, validity, true);
    if (!certificate) {
        return Fail(certificate.error());
    }
    authority.chain.push_back(std::move(*certificate));
    authority.key = std::move(*key);
    return {};
}

Result<Authority> MakeAuthority(const InitOptions &options) {
    const Validity validity = ForDays(options.authorityDays);
    Authority authority;
    Result<void> made = Extend(authority, kAuthorityName, validity, options.bits);
    for (int i = 1; made && i <= options.intermediates; ++i) {
        made = Extend(authority, std::string(kAuthorityName) + " " + std::to_string(i), validity, options.bits);
    }
    if (!made) {
        return Fail(made.error());
    }
    return authority;
}

Result<Authority> ReadAuthority(const fs::path &folder) {
    Result<ScopedKey> key = ReadPemKey(folder / "ca.key");
    if (!key && key.error().code == ENOENT) {
        return Fail(folder.string() + " does not contain an authority (ca.key); name a folder that lumsite init made, "
                                      "or ask the authority that issued the certificate");
    }
    if (!key) {
        return Fail(key.error());
    }
    Result<std::vector<Certificate>> chain = ReadPemCertificates(folder / "chain.pem");
    if (!chain) {
        return Fail(chain.error());
    }
    if (!chain->back().HasKey(key->get())) {
        return Fail((folder / "ca.key").string() + " is not the key of the last certificate in chain.pem");
    }
    return Authority{std::move(*key), std::move(*chain)};
}

Result<Certificate> IssueForSite(const Authority &authority, EVP_PKEY *key, const std::string &commonName, int days) {
    Validity validity = ForDays(days);
    validity.until = std::min(validity.until, authority.chain.back().NotAfter());
    return Issue(commonName, key, {&authority.chain.back(), authority.key.get()}, validity, false);
}

struct NamedText {
    const char *name;
    Result<std::string> text;
};

Result<void> WriteFiles(const fs::path &folder, const std::vector<NamedText> &files) {
    for (const NamedText &file : files) {
        if (!file.text) {
            return Fail(file.text.error());
        }
        if (Result<void> written = base::WriteNewFile(folder / file.name, *file.text); !written) {
            return written;
        }
    }
    return {};
}

std::string ChainText(const std::vector<Certificate> &chain) {
    std::string text;
    for (const Certificate &certificate : chain) {
        text += certificate.Pem();
    }
    return text;
}

} // namespace

Result<void> TakeKeyFolder(const fs::path &folder) {
    if (Result<void> outside = RefusePublishedFolder(folder); !outside) {
        return outside;
    }
    std::error_code error;
    const bool isNew = !fs::exists(folder, error);
    if (!isNew && (!fs::is_directory(folder, error) || !fs::is_empty(folder, error))) {
        return Fail(folder.string() + " already exists and is not an empty folder; nothing is overwritten, so choose "
                                      "a new folder");
    }
    if (Result<void> made = base::MakeFolder(folder); !made) {
        return made;
    }
    if (chmod(folder.c_str(), S_IRWXU) != 0) {
        return base::SystemFailure("cannot close " + folder.string() + " to others", errno);
    }
    return {};
}

Result<void> MakeKeys(const fs::path &folder, const InitOptions &options) {
    if (Result<void> named = RefuseOtherName(options.commonName); !named) {
        return named;
    }
    const Result<Authority> authority =
        options.issuers.empty() ? MakeAuthority(options) : ReadAuthority(options.issuers);
    if (!authority) {
        return Fail(authority.error());
    }
    const Result<ScopedKey> key = MakeKey(options.bits);
    if (!key) {
        return Fail(key.error());
    }
    const Result<Certificate> site = IssueForSite(*authority, key->get(), options.commonName, options.days);
    if (!site) {
        return Fail(site.error());
    }
    if (Result<void> taken = TakeKeyFolder(folder); !taken) {
        return taken;
    }
    return WriteFiles(folder, {{"ca.key", KeyToPem(authority->key.get())},
                               {"vendor.key", KeyToPem(key->get())},
                               {"ca.pem", authority->chain.front().Pem()},
                               {"chain.pem", ChainText(authority->chain)},
                               {"vendor.pem", site->Pem()}});
}

Result<void> RenewCertificate(const fs::path &folder, const std::string &commonName, int days) {
    const Result<Authority> authority = ReadAuthority(folder);
    if (!authority) {
        return Fail(authority.error());
    }
    const Result<ScopedKey> key = ReadPemKey(folder / "vendor.key");
    if (!key) {
        return Fail(key.error());
    }
    std::string name = commonName;
    if (name.empty()) {
        const Result<std::vector<Certificate>> before = ReadPemCertificates(folder / "vendor.pem");
        if (!before) {
            return Fail(before.error());
        }
        name = before->front().CommonName();
    }
    if (Result<void> named = RefuseOtherName(name); !named) {
        return named;
    }
    const Result<Certificate> certificate = IssueForSite(*authority, key->get(), name, days);
    if (!certificate) {
        return Fail(certificate.error());
    }
    return base::ReplaceFile(folder / "vendor.pem", certificate->Pem());
}

} // namespace lumsite
