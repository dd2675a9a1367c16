#include "site/check/SiteSource.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "site/SiteError.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

constexpr long kConnectSeconds = 20;
constexpr long kStalledSeconds = 30;
// The extension asks so, to pass caches by; a server that minds is of no use to it.
constexpr const char *kQuery = "?random=0";

class FolderSource : public SiteSource {
public:
    explicit FolderSource(fs::path folder) : m_folder(std::move(folder)) {}

    File Fetch(const std::string &name, std::uint64_t) override {
        if (IsWebAddress(name)) {
            return {{}, "it is not in the folder"};
        }
        const fs::path path = m_folder / name;
        std::error_code error;
        if (!fs::exists(path, error)) {
            return {{}, "there is no such file"};
        }
        if (!fs::is_regular_file(path, error) || access(path.c_str(), R_OK) != 0) {
            return {{}, "it cannot be read"};
        }
        return {path, ""};
    }
    std::string Title(const std::string &name) const override {
        return name;
    }

private:
    fs::path m_folder;
};

class WebSource : public SiteSource {
public:
    explicit WebSource(std::string root) : m_root(std::move(root)), m_curl(curl_easy_init(), curl_easy_cleanup) {
        if (!m_curl) {
            throw SiteError("the transfer library cannot be started");
        }
        if (m_root.starts_with("http://127.0.0.1")) {
            curl_easy_setopt(m_curl.get(), CURLOPT_NOPROXY, "*"); // a proxy's loopback is another one
        }
        if (m_root.back() != '/') {
            m_root += '/';
        }
    }
    ~WebSource() override {
        Forget();
    }

    File Fetch(const std::string &name, std::uint64_t limit) override;
    std::string Title(const std::string &name) const override {
        return IsWebAddress(name) ? name : m_root + name;
    }

private:
    struct Sink {
        FILE *file;
        std::uint64_t left;
    };
    static std::size_t Take(char *data, std::size_t size, std::size_t count, void *sink);
    void Forget() {
        if (!m_last.empty()) {
            unlink(m_last.c_str());
            m_last.clear();
        }
    }

    std::string m_root;
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_curl;
    std::string m_last;
};

std::size_t WebSource::Take(char *data, std::size_t size, std::size_t count, void *context) {
    Sink *sink = static_cast<Sink *>(context);
    const std::size_t bytes = size * count;
    if (bytes > sink->left) {
        return 0; // ends the transfer
    }
    sink->left -= bytes;
    return fwrite(data, 1, bytes, sink->file);
}

SiteSource::File WebSource::Fetch(const std::string &name, std::uint64_t limit) {
    Forget();
    std::string path = (fs::temp_directory_path() / "lumsite-check-XXXXXX").string();
    const int fd = mkostemp(path.data(), O_CLOEXEC);
    if (fd < 0) {
        ThrowSystemError("cannot make a file in", fs::temp_directory_path());
    }
    m_last = path;
    const std::unique_ptr<FILE, int (*)(FILE *)> file(fdopen(fd, "w"), fclose);
    Sink sink{file.get(), limit};
    CURL *curl = m_curl.get();
    const std::string url = Title(name);
    curl_easy_setopt(curl, CURLOPT_URL, (url + (url.find('?') == std::string::npos ? kQuery : "")).c_str());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 10L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, kStalledSeconds);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &WebSource::Take);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &sink);
    const CURLcode result = curl_easy_perform(curl);
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    if (status >= 400) {
        return {{}, "the server answers with status " + std::to_string(status)};
    }
    if (result == CURLE_WRITE_ERROR && sink.left < limit) {
        return {{}, "it is larger than " + std::to_string(limit) + " bytes"};
    }
    if (result != CURLE_OK) {
        return {{}, curl_easy_strerror(result)};
    }
    if (fflush(file.get()) != 0) {
        ThrowSystemError("cannot write", path);
    }
    return {path, ""};
}

} // namespace

bool IsWebAddress(const std::string &text) {
    return text.starts_with("http://") || text.starts_with("https://");
}

base::Result<std::unique_ptr<SiteSource>> OpenSite(const std::string &place) {
    if (IsWebAddress(place)) {
        return std::make_unique<WebSource>(place);
    }
    if (!fs::is_directory(place)) {
        return base::Fail(place + " is neither a folder nor an address that begins with http:// or https://");
    }
    return std::make_unique<FolderSource>(place);
}

} // namespace lumsite
