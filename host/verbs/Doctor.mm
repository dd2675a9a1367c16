#include "host/verbs/Doctor.h"

#include <curl/curl.h>
#include <dlfcn.h>
#include <langinfo.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string_view>

#import <Foundation/Foundation.h>

#include "base/Disk.h"
#include "base/Files.h"
#include "base/Text.h"
#import "base/objc/ScopedPool.h"
#include "host/release/ReleaseState.h"
#include "host/run/Extension.h"
#include "host/run/WindowServer.h"
#include "host/sites/Origins.h"
#include "host/verbs/DoctorUnpacking.h"
#include "lum/platform/linux/session/CryptoLibraries.h"
#include "lum/security/CryptoNames.h"

// Notes the notification that comes back.
@interface LUMHostEcho : NSObject {
@public
    bool arrived;
}
- (void)arrive:(NSNotification *)notification;
@end

@implementation LUMHostEcho
- (void)arrive:(NSNotification *)notification {
    (void)notification;
    arrived = true;
}
@end

namespace lumhost {

namespace {

using base::Finding;
using base::Findings;
using base::Severity;

constexpr std::uint64_t kLittleSpace = 500'000'000;
constexpr std::uint64_t kNoSpace = 1'000'000;
constexpr std::uint64_t kLargestRoots = 64 << 20;

// What the extension binds at run time.
#define LUM_NAME(name) #name,
constexpr const char *kCryptoFunctions[] = {LUM_CRYPTO_FUNCTIONS(LUM_NAME)};
#undef LUM_NAME
constexpr const char *kCryptoLibraries[] = {LUM_CRYPTO_LIBRARIES};

Finding ExamineWindows() {
    if (CanShowWindows()) {
        return {Severity::Good, "window server", "running", ""};
    }
    return {Severity::Note, "window server", "none: no window is shown, and messages go to standard error",
            "start lumhost from a desktop session, or set DISPLAY (under Wayland, install Xwayland)"};
}

bool PostAndWait(LUMHostEcho *echo, std::chrono::duration<double> longest) {
    NSString *name = [NSString stringWithFormat:@"LUMHostEcho.%d", static_cast<int>(getpid())];
    NSDistributedNotificationCenter *session = [NSDistributedNotificationCenter defaultCenter];
    [session addObserver:echo selector:@selector(arrive:) name:name object:nil];
    [session postNotificationName:name object:nil userInfo:nil deliverImmediately:YES];
    NSDate *end = [NSDate dateWithTimeIntervalSinceNow:longest.count()];
    while (!echo->arrived && [end timeIntervalSinceNow] > 0) {
        [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.05]];
    }
    [session removeObserver:echo];
    return echo->arrived;
}

// Whether a distributed notification that this process posts comes back to it.
bool NotificationsArrive() {
    const base::ScopedPool pool;
    try {
        return PostAndWait([[LUMHostEcho new] autorelease], std::chrono::seconds(5));
    } catch (...) { // no daemon, and none can be started
        return false;
    }
}

Finding ExamineNotifications() {
    if (NotificationsArrive()) {
        return {Severity::Good, "notification daemon", "delivers notifications", ""};
    }
    return {Severity::Error, "notification daemon", "delivers nothing: a started application cannot report itself",
            "install gdnc (Debian: gnustep-base-runtime), and make sure that the folder TMP (or /tmp) is writable"};
}

struct CloseLibrary {
    void operator()(void *library) const {
        dlclose(library);
    }
};
using ScopedLibrary = std::unique_ptr<void, CloseLibrary>;

Finding ExamineFunction(void *library, std::string_view name) {
    if (dlsym(library, name.data())) {
        return {Severity::Good, std::string(name), "found", ""};
    }
    if (name == "SHA_Init" && dlsym(library, "SHA1_Init")) {
        return {Severity::Good, std::string(name), "SHA1_Init is used instead", ""};
    }
    if (name == "BIO_set_flags") {
        return {Severity::Good, std::string(name), "missing; the extension works without it", ""};
    }
    if (name.starts_with("AES_")) {
        return {Severity::Note, std::string(name), "missing; the extension offers it to others only", ""};
    }
    return {Severity::Error, std::string(name), "missing", "install the distribution's own OpenSSL (Debian: libssl3)"};
}

Findings ExamineCrypto() {
    for (const char *name : kCryptoLibraries) {
        const ScopedLibrary library(dlopen(name, RTLD_NOW | RTLD_LOCAL));
        if (!library) {
            continue;
        }
        Findings findings = {{Severity::Good, "crypto library", name, ""}};
        for (const char *function : kCryptoFunctions) {
            if (Finding finding = ExamineFunction(library.get(), function); finding.severity != Severity::Good) {
                findings.push_back(std::move(finding));
            }
        }
        return findings;
    }
    return {{Severity::Error, "crypto library", "libcrypto was not found: no package can be checked",
             "install OpenSSL's libcrypto (Debian: libssl3)"}};
}

// The file that downloads over https are checked with.
Finding ExamineRoots() {
    constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";
    const char *file = curl_version_info(CURLVERSION_NOW)->cainfo;
    const std::string roots = base::ReadWhole(file ? file : "", kLargestRoots).value_or("");
    unsigned count = 0;
    for (std::size_t at = roots.find(kBegin); at != std::string::npos; at = roots.find(kBegin, at + 1)) {
        ++count;
    }
    if (count > 0) {
        return {Severity::Good, "trusted roots", std::to_string(count), ""};
    }
    return {Severity::Error, "trusted roots", "none: no https site can be trusted",
            "install the authorities' certificates (Debian: ca-certificates)"};
}

// Whether `folder`, or the nearest existing one above it, can be written.
Finding ExamineFolder(const std::string &where, const std::filesystem::path &folder) {
    std::filesystem::path existing = folder;
    std::error_code error;
    while (!std::filesystem::exists(existing, error) && existing.has_relative_path()) {
        existing = existing.parent_path();
    }
    const std::string shown = base::OneLine(folder.string());
    const std::string looked = base::OneLine(existing.string());
    if (!std::filesystem::is_directory(existing, error)) {
        return {Severity::Error, where, shown + ": " + looked + " is not a folder", "move that file away"};
    }
    if (access(existing.c_str(), W_OK | X_OK) != 0 && errno == EROFS) {
        return {Severity::Error, where, shown + ": " + looked + " is on a read-only disk", "mount it writable"};
    }
    if (access(existing.c_str(), W_OK | X_OK) != 0) {
        return {Severity::Error, where, shown + ": " + looked + " is not writable",
                "make it yours (chown) and writable for you (chmod u+rwx)"};
    }
    const std::uint64_t free = base::FreeSpace(existing);
    if (free < kNoSpace) {
        return {Severity::Error, where, shown + ": the disk is full (" + base::HumanBytes(free) + " are free)",
                "free some space"};
    }
    if (free < kLittleSpace) {
        return {Severity::Note, where, shown + ": only " + base::HumanBytes(free) + " are free", "free some space"};
    }
    return {Severity::Good, where, shown, ""};
}

Finding ExamineExtension(const std::filesystem::path &bundle) {
    const char *remedy = "install the package again";
    if (bundle.empty()) {
        return {Severity::Error, "extension", std::string(kExtensionBundle) + " is missing beside this program",
                remedy};
    }
    if (const auto loaded = Extension::Load(bundle); !loaded) {
        return {Severity::Error, "extension", base::OneLine(loaded.error().text),
                "install the package again, and what the error names"};
    }
    return {Severity::Good, "extension", base::OneLine(bundle.string()) + ", with its six entry points", ""};
}

Finding ExamineTheme(const std::filesystem::path &theme) {
    if (theme.empty()) {
        return {Severity::Note, "theme", std::string(kTheme) + " is missing beside this program: windows look plain",
                "install the package again"};
    }
    return {Severity::Good, "theme", base::OneLine(theme.string()), ""};
}

Finding ExamineCodeset() {
    const std::string codeset = nl_langinfo(CODESET);
    if (codeset == "UTF-8") {
        return {Severity::Good, "texts", codeset, ""};
    }
    return {Severity::Note, "texts", "the locale uses " + codeset + "; files are named in UTF-8 all the same",
            "choose a UTF-8 locale (LANG=C.UTF-8)"};
}

Finding ExamineSites(const Folders &folders) {
    const Origins origins(folders.Origins());
    if (!origins.problem().empty()) {
        return {Severity::Error, "allowed sites", base::OneLine(origins.problem()), ""};
    }
    const std::size_t count = origins.all().size();
    return count > 0 ? Finding{Severity::Good, "allowed sites", std::to_string(count), ""}
                     : Finding{Severity::Note, "allowed sites", "none", "lumhost allow SITE"};
}

// Their values are not shown: a password may be in them.
Finding ExamineProxies() {
    std::string set;
    for (const char *name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy"}) {
        const char *value = std::getenv(name);
        set += !value || !*value ? "" : (set.empty() ? "" : ", ") + std::string(name);
    }
    return {Severity::Good, "proxies", set.empty() ? "none is set" : "set by " + set, ""};
}

const char *MarkOf(Severity severity) {
    switch (severity) {
    case Severity::Good:
        return "ok    ";
    case Severity::Note:
    case Severity::Warning:
        return "note  ";
    case Severity::Error:
        return "BAD   ";
    }
    return "";
}

} // namespace

Findings Examine(const Folders &folders) {
    Findings findings = {ExamineWindows(), ExamineNotifications(), ExamineRoots()};
    for (Finding &finding : ExamineCrypto()) {
        findings.push_back(std::move(finding));
    }
    for (const auto &[where, folder] :
         {std::pair("components", folders.installed), std::pair("settings", folders.config),
          std::pair("records", folders.data), std::pair("last start", folders.state),
          std::pair("downloads", folders.cache), std::pair("temporary files", folders.temporary)}) {
        findings.push_back(ExamineFolder(where, folder));
    }
    findings.push_back(ExamineExtension(OwnPart(kExtensionBundle)));
    findings.push_back(ExamineSites(folders));
    findings.push_back(ExamineProxies());
    findings.push_back(ExamineTheme(OwnPart(kTheme)));
    for (Finding &finding : ExamineUnpacking()) {
        findings.push_back(std::move(finding));
    }
    findings.push_back(ExamineCodeset());
    std::vector<base::Error> unusable;
    const std::vector<Pin> pins = Pins(folders.Releases(), folders.AdministratorsRoots()).All(&unusable);
    for (Finding &finding : ExamineReleases(pins)) {
        findings.push_back(std::move(finding));
    }
    for (const base::Error &error : unusable) {
        const std::size_t advice = error.text.rfind("; ");
        findings.push_back({base::Severity::Error, "signed releases", error.text.substr(0, advice),
                            advice == std::string::npos ? "" : error.text.substr(advice + 2)});
    }
    return findings;
}

std::string ToText(const Findings &findings) {
    std::string text;
    for (const Finding &finding : findings) {
        text += MarkOf(finding.severity) + finding.where + ": " + finding.what + "\n";
        if (!finding.remedy.empty()) {
            text += "      -> " + finding.remedy + "\n";
        }
    }
    return text;
}

} // namespace lumhost
