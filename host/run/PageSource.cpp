#include "host/run/PageSource.h"

#include <curl/curl.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "base/Files.h"
#include "base/Text.h"

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

std::optional<PageText> Fetch(const base::Url &url, delivery::TransferSettings settings,
                              const std::function<bool()> &stopped, std::string &error) {
    settings.maxBytes = kLargestPage;
    settings.retries = 1; // somebody waits
    Doorbell doorbell;
    delivery::Transfers transfers(std::move(settings), [&] { doorbell.Ring(); });
    std::optional<PageText> page;
    bool ended = false;
    transfers.Get(url.text(), nullptr, [&](const delivery::TransferResult &result) {
        ended = true;
        error = result.error;
        if (!result.ok) {
            return;
        }
        if (auto html = base::ReadWhole(result.file, kLargestPage)) {
            page = PageText{std::move(*html), base::Url::Parse(result.address)};
        } else {
            error = std::generic_category().message(html.error().code);
        }
    });
    while (!ended) {
        if (stopped()) {
            error = "stopped";
            return std::nullopt;
        }
        doorbell.Wait();
        transfers.Deliver();
    }
    return page;
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
