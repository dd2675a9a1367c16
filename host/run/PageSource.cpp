#include "host/run/PageSource.h"

#include <curl/curl.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "base/Files.h"
#include "base/Text.h"
#include "host/Process.h"

namespace lumhost {

namespace {

// Waits for the transfer thread without a run loop: no window exists yet.
class Doorbell {
public:
    void Ring() {
        const std::scoped_lock lock(m_lock);
        m_rung = true;
        m_changed.notify_one();
    }
    void Wait() {
        std::unique_lock lock(m_lock);
        m_changed.wait_for(lock, std::chrono::milliseconds(100), [this] { return m_rung; });
        m_rung = false;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_rung = false;
};

base::Result<PageText> ReadDownloaded(const std::string &place, const delivery::TransferResult &result) {
    if (!result.ok) {
        return base::Fail("cannot get " + place + ": " + result.error);
    }
    auto html = base::ReadWhole(result.file, kLargestPage);
    if (!html) {
        return base::Fail(std::move(html.error()));
    }
    return PageText{std::move(*html), base::Url::Parse(result.address)};
}

base::Result<PageText> Fetch(const base::Url &url, delivery::TransferSettings settings,
                             const std::function<bool()> &stopped) {
    settings.maxBytes = kLargestPage;
    settings.retries = 1; // somebody waits
    Doorbell doorbell;
    delivery::Transfers transfers(std::move(settings), [&] { doorbell.Ring(); });
    std::optional<base::Result<PageText>> page;
    transfers.Get(url.text(), nullptr,
                  [&](const delivery::TransferResult &result) { page = ReadDownloaded(url.text(), result); });
    while (!page) {
        if (stopped()) {
            return base::Fail("stopped");
        }
        doorbell.Wait();
        transfers.Deliver();
    }
    return std::move(*page);
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
