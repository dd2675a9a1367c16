#include "host/run/PageSource.h"

#include <curl/curl.h>

#include <system_error>

#include "base/Files.h"
#include "base/Text.h"
#include "delivery/transfer/Fetcher.h"

namespace lumhost {

namespace {

std::optional<PageText> Fetch(const base::Url &url, delivery::TransferSettings settings,
                              const std::function<bool()> &stopped, std::string &error) {
    delivery::Fetcher fetcher(std::move(settings));
    const delivery::TransferResult result = fetcher.Fetch(url.text(), kLargestPage, stopped);
    error = result.error;
    if (!result.ok) {
        return std::nullopt;
    }
    auto html = base::ReadWhole(result.file, kLargestPage);
    if (!html) {
        error = std::generic_category().message(html.error().code);
        return std::nullopt;
    }
    return PageText{std::move(*html), base::Url::Parse(result.address)};
}

std::filesystem::path PathOfFileAddress(const std::string &place) {
    std::string path = place.substr(std::string_view("file://").size());
    const std::size_t slash = path.find('/'); // a host name may stand before the path
    path.erase(0, slash == std::string::npos ? path.size() : slash);
    int length = 0;
    char *decoded = curl_easy_unescape(nullptr, path.c_str(), static_cast<int>(path.size()), &length);
    std::string result(decoded ? decoded : "", decoded ? static_cast<std::size_t>(length) : 0);
    curl_free(decoded);
    return result;
}

} // namespace

std::optional<PageText> GetPage(const std::string &place, delivery::TransferSettings settings,
                                const std::function<bool()> &stopped, std::string &error) {
    const std::string lower = base::Lower(place);
    if (lower.starts_with("http:") || lower.starts_with("https:")) {
        const std::optional<base::Url> url = base::Url::Parse(place);
        if (!url) {
            error = "this is no usable address";
            return std::nullopt;
        }
        return Fetch(*url, std::move(settings), stopped, error);
    }
    const std::filesystem::path file =
        lower.starts_with("file://") ? PathOfFileAddress(place) : std::filesystem::path(place);
    auto html = base::ReadWhole(file, kLargestPage);
    if (!html) {
        error = std::generic_category().message(html.error().code);
        return std::nullopt;
    }
    return PageText{std::move(*html), std::nullopt};
}

} // namespace lumhost
