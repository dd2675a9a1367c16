#include "host/run/PageSource.h"

#include <curl/curl.h>

#include "base/Files.h"
#include "base/Text.h"
#include "delivery/transfer/Fetcher.h"
#include "host/Process.h"

namespace lumhost {

namespace {

base::Result<PageText> Fetch(const base::Url &url, delivery::TransferSettings settings,
                             const std::function<bool()> &stopped) {
    delivery::Fetcher fetcher(std::move(settings));
    const delivery::TransferResult result = fetcher.Fetch(url.text(), kLargestPage, stopped);
    if (!result.ok) {
        return base::Fail("cannot get " + url.text() + ": " + result.error);
    }
    auto html = base::ReadWhole(result.file, kLargestPage);
    if (!html) {
        return base::Fail(std::move(html.error()));
    }
    return PageText{std::move(*html), base::Url::Parse(result.address)};
}

std::filesystem::path PathOfFileAddress(const std::string &place) {
    std::string path = place.substr(std::string_view("file://").size());
    const std::size_t slash = path.find('/'); // there may be a host name before the path
    path.erase(0, slash == std::string::npos ? path.size() : slash);
    int length = 0;
    char *decoded = curl_easy_unescape(nullptr, path.c_str(), static_cast<int>(path.size()), &length);
    std::string result(decoded ? decoded : "", decoded ? static_cast<std::size_t>(length) : 0);
    curl_free(decoded);
    return result;
}

} // namespace

base::Result<PageText> GetPage(const std::string &place, const Folders &folders, const std::function<bool()> &stopped) {
    const std::string lower = base::Lower(place);
    if (lower.starts_with("http:") || lower.starts_with("https:")) {
        const std::optional<base::Url> url = base::Url::Parse(place);
        return url ? Fetch(*url, SettingsOfTransfers(folders), stopped)
                   : base::Fail(base::Quoted(place) + " is not a valid address");
    }
    const std::filesystem::path file =
        lower.starts_with("file://") ? PathOfFileAddress(place) : std::filesystem::path(place);
    auto html = base::ReadWhole(file, kLargestPage);
    if (!html) {
        return base::Fail(std::move(html.error()));
    }
    return PageText{std::move(*html), std::nullopt};
}

delivery::TransferSettings SettingsOfTransfers(const Folders &folders) {
    delivery::TransferSettings settings;
    settings.folder = folders.cache;
    settings.userAgent = std::string("lumhost/") + kVersion;
    return settings;
}

} // namespace lumhost
