#import "lum/platform/linux/trust/TrustStore.h"

#include <gnutls/gnutls.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#import <Foundation/NSString.h>

#import "base/objc/ScopedPool.h"
#import "lum/platform/Session.h"

namespace sec {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kLargestFile = 1024 * 1024;

const std::vector<Certificate> *g_rootsForTest = nullptr;

struct FreeTrustList {
    void operator()(gnutls_x509_trust_list_t list) const {
        gnutls_x509_trust_list_deinit(list, 1);
    }
};
using TrustListPtr = std::unique_ptr<std::remove_pointer_t<gnutls_x509_trust_list_t>, FreeTrustList>;

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
    const TrustListPtr list(made);
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

fs::path ConfigurationFolder() {
    const char *configured = std::getenv("XDG_CONFIG_HOME");
    if (configured && configured[0] == '/') {
        return configured;
    }
    const base::ScopedPool pool;
    return fs::path([SessionHomeDirectory() fileSystemRepresentation]) / ".config";
}

fs::path FolderOfUser(const char *name) {
    return ConfigurationFolder() / "lum" / "certificates" / name;
}

// What others can put there is not the user's word.
bool IsOwnWord(const fs::path &folder) {
    struct stat status;
    return stat(folder.c_str(), &status) == 0 && status.st_uid == geteuid() && !(status.st_mode & S_IWOTH);
}

std::vector<unsigned char> SmallFile(const fs::path &path) {
    std::error_code error;
    if (!fs::is_regular_file(path, error) || fs::file_size(path, error) > kLargestFile || error) {
        return {};
    }
    std::vector<unsigned char> content(kLargestFile);
    std::ifstream stream(path, std::ios::binary);
    stream.read(reinterpret_cast<char *>(content.data()), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(stream.gcount()));
    return content;
}

std::vector<Certificate> CertificatesIn(const fs::path &folder) {
    std::vector<Certificate> certificates;
    std::error_code error;
    for (fs::directory_iterator i(folder, error), end; !error && i != end; i.increment(error)) {
        const std::vector<unsigned char> content = SmallFile(i->path());
        for (const Certificate &certificate : Certificate::FromFileContent(content)) {
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
