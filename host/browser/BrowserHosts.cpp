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
    return ::base::ReadWhole(file, kLargestManifest).value_or("") == Manifest(program) ? State::Current : State::Other;
}

bool BrowserHost::Write(const fs::path &program, std::string &error) const {
    if (Look(program) == State::Current) {
        return true;
    }
    const auto written =
        ::base::ReplaceFile(file, Manifest(program), forAll ? ::base::Readers::Everyone : ::base::Readers::Owner);
    if (!written) {
        error = std::generic_category().message(written.error().code);
    }
    return written.has_value();
}

bool BrowserHost::Remove(std::string &error) const {
    std::error_code code;
    if (!fs::remove(file, code)) {
        error = code.message();
        return !code;
    }
    for (fs::path folder = file.parent_path(); folder != base && fs::remove(folder, code);) {
        folder = folder.parent_path();
    }
    return true;
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
