#include "host/browser/BrowserHosts.h"

#include <json/json.h>

#include "host/browser/BrowserIds.h"
#include "base/Files.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestManifest = 1 << 20;

std::string FileName() {
    return std::string(kNativeHostName) + ".json";
}

} // namespace

std::string BrowserHost::Manifest(const fs::path &program) const {
    Json::Value manifest(Json::objectValue);
    manifest["name"] = std::string(kNativeHostName);
    manifest["description"] = "Starts meetings for the pages of allowed sites";
    manifest["path"] = program.string();
    manifest["type"] = "stdio";
    if (firefox) {
        manifest["allowed_extensions"].append(std::string(kFirefoxExtension));
    } else {
        manifest["allowed_origins"].append(std::string(kChromiumScheme) + std::string(kChromiumExtension) + "/");
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, manifest) + "\n";
}

BrowserHost::State BrowserHost::Look(const fs::path &program) const {
    std::error_code error;
    if (!fs::exists(fs::symlink_status(file, error))) {
        return State::Missing;
    }
    return base::ReadWhole(file, kLargestManifest).value_or("") == Manifest(program) ? State::Current : State::Other;
}

base::Result<void> BrowserHost::Write(const fs::path &program) const {
    if (Look(program) == State::Current) {
        return {};
    }
    return base::ReplaceFile(file, Manifest(program), forAll ? base::Readers::Everyone : base::Readers::Owner);
}

base::Result<void> BrowserHost::Remove() const {
    std::error_code error;
    if (!fs::remove(file, error)) {
        return error ? base::SystemFailure("cannot remove " + file.string(), error.value()) : base::Result<void>();
    }
    for (fs::path folder = file.parent_path(); folder != limit && fs::remove(folder, error);) {
        folder = folder.parent_path();
    }
    return {};
}

std::vector<BrowserHost> UsersBrowserHosts(const Folders &folders) {
    const fs::path config = folders.config.parent_path();
    return {
        {"Chromium", config / "chromium/NativeMessagingHosts" / FileName(), config},
        {"Chrome", config / "google-chrome/NativeMessagingHosts" / FileName(), config},
        {"Firefox", folders.home / ".mozilla/native-messaging-hosts" / FileName(), folders.home, true},
    };
}

std::vector<BrowserHost> SystemBrowserHosts(const fs::path &root) {
    return {
        {"Chromium", root / "etc/chromium/native-messaging-hosts" / FileName(), root / "etc", false, true},
        {"Chrome", root / "etc/opt/chrome/native-messaging-hosts" / FileName(), root / "etc/opt", false, true},
        {"Firefox", root / "usr/lib/mozilla/native-messaging-hosts" / FileName(), root / "usr/lib", true, true},
    };
}

} // namespace lumhost
