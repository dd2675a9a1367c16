#include "site/check/SiteSource.h"

#include <unistd.h>

#include "delivery/transfer/Fetcher.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

// The extension asks so, to pass caches by; a server that minds is of no use to it.
constexpr const char *kQuery = "?random=0";

class FolderSource : public SiteSource {
public:
    explicit FolderSource(fs::path folder) : m_folder(std::move(folder)) {}

    File Fetch(const std::string &name, std::uint64_t) override {
        if (IsWebAddress(name)) {
            return {{}, "it is not in the folder", true};
        }
        const fs::path path = m_folder / name;
        std::error_code error;
        if (!fs::exists(path, error)) {
            return {{}, "there is no such file", true};
        }
        if (!fs::is_regular_file(path, error) || access(path.c_str(), R_OK) != 0) {
            return {{}, "it cannot be read", false};
        }
        return {path, "", false};
    }
    std::string Title(const std::string &name) const override {
        return name;
    }

private:
    fs::path m_folder;
};

delivery::TransferSettings Settings(const fs::path &caFile) {
    delivery::TransferSettings settings;
    std::error_code error; // without the folder every transfer fails with a text that says so
    settings.folder = fs::temp_directory_path(error);
    settings.userAgent = "lumsite";
    settings.caFile = caFile;
    return settings;
}

// By the rules of a visitor's container: redirects, sizes, time-outs and proxies are the same.
class WebSource : public SiteSource {
public:
    WebSource(const std::string &root, const fs::path &caFile)
        : m_root(root.ends_with('/') ? root : root + "/"), m_fetcher(Settings(caFile)) {}

    File Fetch(const std::string &name, std::uint64_t limit) override {
        const std::string url = Title(name);
        const delivery::TransferResult result =
            m_fetcher.Fetch(url + (url.find('?') == std::string::npos ? kQuery : ""), limit);
        return {result.file, result.cause, result.httpStatus == 403 || result.httpStatus == 404};
    }
    std::string Title(const std::string &name) const override {
        return IsWebAddress(name) ? name : m_root + name;
    }

private:
    std::string m_root;
    delivery::Fetcher m_fetcher;
};

} // namespace

bool IsWebAddress(const std::string &text) {
    return text.starts_with("http://") || text.starts_with("https://");
}

base::Result<std::unique_ptr<SiteSource>> OpenSite(const std::string &place, const fs::path &caFile) {
    if (IsWebAddress(place)) {
        return std::make_unique<WebSource>(place, caFile);
    }
    if (!fs::is_directory(place)) {
        return base::Fail(place + " is neither a folder nor an address that begins with http:// or https://");
    }
    return std::make_unique<FolderSource>(place);
}

} // namespace lumsite
