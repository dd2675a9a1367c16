#include "host/verbs/Doctor.h"

#include <dlfcn.h>
#include <gnutls/x509.h>
#include <langinfo.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>

#include "host/run/Extension.h"
#include "host/verbs/NotificationCheck.h"
#include "base/Text.h"
#include "host/run/WindowServer.h"

namespace lumhost {

namespace {

using Grade = Finding::Grade;

// What the extension binds at run time.
constexpr std::array<const char *, 25> kCryptoFunctions = {"SHA_Init",
                                                           "SHA1_Update",
                                                           "SHA1_Final",
                                                           "SHA256_Init",
                                                           "SHA256_Update",
                                                           "SHA256_Final",
                                                           "BIO_free",
                                                           "BIO_new",
                                                           "BIO_free_all",
                                                           "BIO_new_mem_buf",
                                                           "BIO_set_flags",
                                                           "BIO_f_base64",
                                                           "BIO_push",
                                                           "BIO_read",
                                                           "RSA_free",
                                                           "RSA_verify",
                                                           "AES_set_encrypt_key",
                                                           "AES_cbc_encrypt",
                                                           "EVP_PKEY_free",
                                                           "EVP_PKEY_get1_RSA",
                                                           "X509_free",
                                                           "X509_get_pubkey",
                                                           "PEM_read_bio_RSAPrivateKey",
                                                           "d2i_X509",
                                                           "RSA_sign"};

constexpr std::uint64_t kLittleSpace = 500'000'000;

const std::vector<std::string> &CryptoLibraries() {
    static const std::vector<std::string> names = {"libcrypto.so.3", "libcrypto.so.1.1", "libcrypto.so"};
    return names;
}

struct CloseLibrary {
    void operator()(void *library) const {
        dlclose(library);
    }
};
using ScopedLibrary = std::unique_ptr<void, CloseLibrary>;

Finding ExamineFunction(void *library, const char *name) {
    const bool there = dlsym(library, name) != nullptr;
    const bool sha1 = std::strcmp(name, "SHA_Init") == 0;
    if (there) {
        return {Grade::Good, name, "there", ""};
    }
    if (sha1 && dlsym(library, "SHA1_Init")) {
        return {Grade::Good, name, "SHA1_Init serves in its place", ""};
    }
    if (std::strcmp(name, "BIO_set_flags") == 0) {
        return {Grade::Good, name, "not there; the extension does without it", ""};
    }
    if (std::strncmp(name, "AES_", 4) == 0) {
        return {Grade::Note, name, "not there; the extension offers it and does not use it itself", ""};
    }
    return {Grade::Bad, name, "not there", "install the distribution's own OpenSSL (Debian: libssl3)"};
}

} // namespace

Finding ExamineWindows() {
    if (CanShowWindows()) {
        return {Grade::Good, "window server", "answers", ""};
    }
    return {Grade::Note, "window server", "none: no window is shown, messages go to standard error",
            "start it from a desktop session, or set DISPLAY (under Wayland, install Xwayland)"};
}

Finding ExamineNotifications() {
    if (NotificationsArrive(std::chrono::seconds(5))) {
        return {Grade::Good, "notification daemon", "a notification went to it and came back", ""};
    }
    return {Grade::Bad, "notification daemon", "no notification comes back: a started application cannot report itself",
            "install gdnc (Debian: gnustep-base-runtime); see that the folder TMP (or /tmp) can be written"};
}

std::vector<Finding> ExamineCrypto(const std::vector<std::string> &libraries) {
    for (const std::string &name : libraries) {
        const ScopedLibrary library(dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL));
        if (!library) {
            continue;
        }
        std::vector<Finding> findings = {{Grade::Good, "crypto library", name, ""}};
        for (const char *function : kCryptoFunctions) {
            findings.push_back(ExamineFunction(library.get(), function));
        }
        return findings;
    }
    return {{Grade::Bad, "crypto library", "no libcrypto is found: no package can be checked",
             "install OpenSSL's libcrypto (Debian: libssl3)"}};
}

Finding ExamineRoots() {
    gnutls_x509_trust_list_t list = nullptr;
    if (gnutls_x509_trust_list_init(&list, 0) != 0) {
        return {Grade::Bad, "trusted roots", "cannot be read: out of memory", "close other programs"};
    }
    const int count = gnutls_x509_trust_list_add_system_trust(list, 0, 0);
    gnutls_x509_trust_list_deinit(list, 1);
    if (count > 0) {
        return {Grade::Good, "trusted roots", std::to_string(count), ""};
    }
    return {Grade::Bad, "trusted roots", "none: no https site can be trusted",
            "install the authorities' certificates (Debian: ca-certificates)"};
}

Finding ExamineFolder(const std::string &subject, const std::filesystem::path &folder) {
    std::filesystem::path existing = folder;
    std::error_code error;
    while (!std::filesystem::exists(existing, error) && existing.has_relative_path()) {
        existing = existing.parent_path();
    }
    const std::string shown = base::OneLine(folder.string());
    if (!std::filesystem::is_directory(existing, error)) {
        return {Grade::Bad, subject, shown + ": " + base::OneLine(existing.string()) + " is no folder",
                "move that file away"};
    }
    if (access(existing.c_str(), W_OK | X_OK) != 0) {
        return {Grade::Bad, subject, shown + ": " + base::OneLine(existing.string()) + " cannot be written",
                "let it belong to you (chown), and be writable for you (chmod u+rwx)"};
    }
    struct statvfs space {};
    if (statvfs(existing.c_str(), &space) == 0) {
        const std::uint64_t free = std::uint64_t{space.f_bavail} * space.f_frsize;
        if (free < kLittleSpace) {
            return {Grade::Note, subject, shown + ": only " + base::HumanBytes(free) + " are free", "free some space"};
        }
    }
    return {Grade::Good, subject, shown, ""};
}

Finding ExamineExtension(const std::filesystem::path &bundle) {
    if (bundle.empty()) {
        return {Grade::Bad, "extension", "lumext.bundle is not beside this program", "install the program as a whole"};
    }
    std::string error;
    if (!Extension::Load(bundle, error)) {
        return {Grade::Bad, "extension", base::OneLine(bundle.string()) + " cannot be loaded: " + base::OneLine(error),
                "install the program as a whole, and what the error names"};
    }
    return {Grade::Good, "extension", base::OneLine(bundle.string()) + ", with its six entry points", ""};
}

Finding ExamineTheme(const std::filesystem::path &theme) {
    if (theme.empty()) {
        return {Grade::Note, "theme", "Lum.theme is not beside this program: windows look plain",
                "install the program as a whole"};
    }
    return {Grade::Good, "theme", base::OneLine(theme.string()), ""};
}

Finding ExamineCodeset() {
    const std::string codeset = nl_langinfo(CODESET);
    if (codeset == "UTF-8") {
        return {Grade::Good, "texts", codeset, ""};
    }
    return {Grade::Note, "texts", "the locale's are " + codeset + "; files are named in UTF-8 all the same",
            "choose a UTF-8 locale (LANG=C.UTF-8)"};
}

std::vector<Finding> Examine(const Folders &folders) {
    std::vector<Finding> findings = {ExamineWindows(), ExamineNotifications(), ExamineRoots()};
    for (Finding &finding : ExamineCrypto(CryptoLibraries())) {
        findings.push_back(std::move(finding));
    }
    for (const auto &[subject, folder] :
         {std::pair("components", folders.installed), std::pair("settings", folders.config),
          std::pair("records", folders.data), std::pair("last start", folders.state),
          std::pair("downloads", folders.cache), std::pair("temporary files", folders.temporary)}) {
        findings.push_back(ExamineFolder(subject, folder));
    }
    findings.push_back(ExamineExtension(OwnPart("lumext.bundle")));
    findings.push_back(ExamineTheme(OwnPart("Lum.theme")));
    findings.push_back(ExamineCodeset());
    return findings;
}

std::string ToText(const std::vector<Finding> &findings) {
    std::string text;
    for (const Finding &finding : findings) {
        constexpr std::array<const char *, 3> kMarks = {"ok    ", "note  ", "BAD   "};
        text += kMarks[static_cast<std::size_t>(finding.grade)] + finding.subject + ": " + finding.text + "\n";
        if (!finding.remedy.empty()) {
            text += "      -> " + finding.remedy + "\n";
        }
    }
    return text;
}

bool AnyBad(const std::vector<Finding> &findings) {
    for (const Finding &finding : findings) {
        if (finding.grade == Grade::Bad) {
            return true;
        }
    }
    return false;
}

} // namespace lumhost
