#include "site/keys/SiteKeys.h"

#include <cerrno>
#include <ctime>
#include <utility>

#include <sys/stat.h>

#include "site/keys/Signatures.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Result;

constexpr std::time_t kSoon = 30 * 86400;

Result<void> CheckKeyFile(const fs::path &folder, const fs::path &path) {
    std::error_code error;
    if (!fs::exists(folder, error)) {
        return Fail("there is no folder of keys " + folder.string() + "; make it with: lumsite init " +
                    folder.string());
    }
    return CheckKeyIsPrivate(path);
}

Result<void> CheckPair(const Certificate &own, EVP_PKEY *key, const fs::path &certificatePath,
                       const fs::path &keyPath) {
    if (!own.HasKey(key)) {
        return Fail(certificatePath.string() + " was not issued for " + keyPath.string() +
                    ", so visitors would reject every package; put a matching key and certificate into the folder");
    }
    return {};
}

Result<void> CheckAlgorithm(const Certificate &own, const fs::path &keyPath) {
    if (!own.HasRsaKey()) {
        return Fail(keyPath.string() + " is not an RSA key; the extension verifies RSA signatures only");
    }
    return {};
}

Result<void> CheckName(const Certificate &own, const fs::path &certificatePath) {
    if (!IsVendorName(own.CommonName())) {
        return Fail(certificatePath.string() + " is for \"" + own.CommonName() +
                    "\", which the extension rejects; it needs " + VendorNameRule());
    }
    return {};
}

Result<void> CheckDates(const Certificate &own, const fs::path &folder, const fs::path &certificatePath) {
    const std::time_t now = std::time(nullptr);
    if (own.NotAfter() <= now || own.NotBefore() > now) {
        return Fail(certificatePath.string() + " is valid only from " + DateText(own.NotBefore()) + " to " +
                    DateText(own.NotAfter()) + "; renew it (lumsite init --renew " + folder.string() +
                    ", or your authority)");
    }
    return {};
}

} // namespace

Result<SiteKeys> SiteKeys::Read(const fs::path &folder) {
    SiteKeys keys;
    keys.m_keyPath = folder / "vendor.key";
    if (const Result<void> checked = CheckKeyFile(folder, keys.m_keyPath); !checked) {
        return Fail(checked.error());
    }
    const Result<ScopedKey> key = ReadPemKey(keys.m_keyPath);
    if (!key) {
        return Fail(key.error());
    }
    Result<std::vector<Certificate>> chain = ReadPemCertificates(folder / "chain.pem");
    if (!chain && chain.error().code != ENOENT) {
        return Fail(chain.error());
    }
    const fs::path certificatePath = folder / "vendor.pem";
    const Result<std::vector<Certificate>> certificates = ReadPemCertificates(certificatePath);
    if (!certificates) {
        return Fail(certificates.error());
    }
    const Certificate &own = certificates->front();
    const Result<void> checked = CheckPair(own, key->get(), certificatePath, keys.m_keyPath)
                                     .and_then([&] { return CheckAlgorithm(own, keys.m_keyPath); })
                                     .and_then([&] { return CheckName(own, certificatePath); })
                                     .and_then([&] { return CheckDates(own, folder, certificatePath); });
    if (!checked) {
        return Fail(checked.error());
    }
    if (own.NotAfter() <= std::time(nullptr) + kSoon) {
        keys.m_findings.push_back({base::Severity::Warning, certificatePath, "expires on " + DateText(own.NotAfter()),
                                   "renew it, and publish again, before that day"});
    }
    if (chain) {
        keys.m_chain = std::move(*chain);
    }
    keys.m_chain.push_back(own);
    return keys;
}

Result<std::string> SiteKeys::Sign(const std::string &hashText) const {
    const std::string signature = SignText(m_keyPath, hashText);
    if (signature.empty()) {
        return Fail("cannot sign with " + m_keyPath.string() + "; is it a PEM file with one RSA key?");
    }
    return ToBase64(signature);
}

} // namespace lumsite
