#import "lum/platform/linux/trust/TrustStore.h"

#include <gnutls/gnutls.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "base/Files.h"
#include "base/UserFolders.h"

namespace sec {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestFile = 1024 * 1024;

const std::vector<Certificate> *g_rootsForTest = nullptr;

struct FreeTrustList {
    void operator()(gnutls_x509_trust_list_t list) const {
        gnutls_x509_trust_list_deinit(list, 1);
    }
};
using ScopedTrustList = std::unique_ptr<std::remove_pointer_t<gnutls_x509_trust_list_t>, FreeTrustList>;

void AppendCopy(std::vector<Certificate> &certificates, gnutls_x509_crt_t handle) {
    gnutls_datum_t der = {nullptr, 0};
    if (gnutls_x509_crt_export2(handle, GNUTLS_X509_FMT_DER, &der) != GNUTLS_E_SUCCESS) {
        return;
    }
    if (const auto certificate = Certificate::FromDer({der.data, der.size})) {
        certificates.push_back(*certificate);
    }
    gnutls_free(der.data);
}

std::vector<Certificate> SystemRoots() {
    if (g_rootsForTest) {
        return *g_rootsForTest;
    }
    gnutls_x509_trust_list_t made = nullptr;
    if (gnutls_x509_trust_list_init(&made, 0) != GNUTLS_E_SUCCESS) {
        return {};
    }
    const ScopedTrustList list(made);
    gnutls_x509_trust_list_add_system_trust(made, 0, 0);

    std::vector<Certificate> roots;
    gnutls_x509_trust_list_iter_t place = nullptr;
    gnutls_x509_crt_t root = nullptr;
    while (gnutls_x509_trust_list_iter_get_ca(made, &place, &root) == GNUTLS_E_SUCCESS) {
        AppendCopy(roots, root);
        gnutls_x509_crt_deinit(root);
    }
    gnutls_x509_trust_list_iter_deinit(place);
    return roots;
}

fs::path FolderOfUser(const char *name) {
    return base::ConfigFolder() / "lum" / "certificates" / name;
}

// What others can put there is not the user's word.
bool IsOwnWord(const fs::path &folder) {
    struct stat status;
    return stat(folder.c_str(), &status) == 0 && status.st_uid == geteuid() && !(status.st_mode & S_IWOTH);
}

std::vector<Certificate> CertificatesIn(const fs::path &folder) {
    std::vector<Certificate> certificates;
    std::error_code error;
    for (fs::directory_iterator i(folder, error), end; !error && i != end; i.increment(error)) {
        const std::string content = base::ReadWhole(i->path(), kLargestFile).value_or(std::string());
        const auto *bytes = reinterpret_cast<const unsigned char *>(content.data());
        for (const Certificate &certificate : Certificate::FromFileContent({bytes, content.size()})) {
            certificates.push_back(certificate);
        }
    }
    return certificates;
}

} // namespace

TrustStore ReadTrustStore(bool withTrusted) {
    TrustStore store;
    store.userRefused = CertificatesIn(FolderOfUser("refused"));
    if (!withTrusted) {
        return store;
    }
    store.systemRoots = SystemRoots();
    const fs::path trusted = FolderOfUser("trusted");
    if (IsOwnWord(trusted)) {
        store.userTrusted = CertificatesIn(trusted);
    }
    return store;
}

SystemRootsForTest::SystemRootsForTest(std::vector<Certificate> roots) : m_roots(std::move(roots)) {
    g_rootsForTest = &m_roots;
}

SystemRootsForTest::~SystemRootsForTest() {
    g_rootsForTest = nullptr;
}

} // namespace sec
