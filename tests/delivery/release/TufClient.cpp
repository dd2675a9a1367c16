// The client of signed releases as a program, with the command line of the public conformance suite of The Update
// Framework (CLIENT-CLI.md there):
//
//     tuf_client --metadata-dir DIR init ROOT
//     tuf_client --metadata-dir DIR --metadata-url URL refresh
//     tuf_client --metadata-dir DIR --metadata-url URL --target-dir DIR --target-base-url URL --target-name NAME...
//     download
//
// Exit status 0 or 1, with the reason on the standard error. Not built with checks: the suite moves its clock by a
// preloaded library.
#include <curl/curl.h>

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/Digest.h"
#include "base/Files.h"
#include "base/Text.h"
#include "delivery/release/ReleaseClient.h"
#include "delivery/release/ReleaseFault.h"

namespace fs = std::filesystem;
using base::Result;
using delivery::Refuse;
using delivery::ReleaseFault;

namespace {

constexpr std::uint64_t kMaxFile = 1'000'000'000;

// Whatever takes the body, piece by piece.
using Sink = std::function<Result<void>(std::string_view)>;

class Http {
public:
    Http() : m_handle(curl_easy_init()) {}

    Result<void> Get(const std::string &url, Sink sink) {
        m_sink = std::move(sink);
        m_refusal.reset();
        CURL *handle = m_handle.get();
        curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
        curl_easy_setopt(handle, CURLOPT_PATH_AS_IS, 1L);
        curl_easy_setopt(handle, CURLOPT_NOPROXY, "*");
        curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, 10L);
        curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, 1L);
        curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, 30L);
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Http::Receive);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
        const CURLcode code = curl_easy_perform(handle);
        if (m_refusal) {
            return base::Fail(*m_refusal);
        }
        if (code != CURLE_OK) {
            return Refuse(ReleaseFault::Unreachable, url + ": " + curl_easy_strerror(code));
        }
        if (Status() == 403 || Status() == 404) {
            return Refuse(ReleaseFault::NotFound, url + ": the server does not have it");
        }
        if (Status() != 200) {
            return Refuse(ReleaseFault::Unreachable, url + ": the server answers " + std::to_string(Status()));
        }
        return {};
    }

private:
    long Status() const {
        long status = 0;
        curl_easy_getinfo(m_handle.get(), CURLINFO_RESPONSE_CODE, &status);
        return status;
    }

    static std::size_t Receive(char *data, std::size_t one, std::size_t size, void *self) {
        auto *http = static_cast<Http *>(self);
        if (http->Status() != 200) {
            return one * size; // the page of an error is not wanted
        }
        Result<void> taken = http->m_sink({data, one * size});
        if (!taken) {
            http->m_refusal = taken.error();
            return 0;
        }
        return one * size;
    }

    struct Close {
        void operator()(CURL *handle) const {
            curl_easy_cleanup(handle);
        }
    };
    std::unique_ptr<CURL, Close> m_handle;
    Sink m_sink;
    std::optional<base::Error> m_refusal;
};

std::string AsFolder(const std::string &url) {
    return url.ends_with('/') ? url : url + '/';
}

class MetadataFetcher final : public delivery::ReleaseFetcher {
public:
    MetadataFetcher(Http &http, const std::string &url) : m_http(http), m_url(AsFolder(url)) {}

    Result<std::string> Fetch(const std::string &name, std::uint64_t maxLength, std::string_view) override {
        std::string body;
        return m_http
            .Get(m_url + name,
                 [&](std::string_view part) -> Result<void> {
                     if (body.size() + part.size() > maxLength) {
                         return Refuse(ReleaseFault::TooLong, name + " is longer than " + base::HumanBytes(maxLength));
                     }
                     body += part;
                     return {};
                 })
            .map([&] { return body; });
    }

private:
    Http &m_http;
    std::string m_url;
};

struct Arguments {
    std::map<std::string, std::string> options;
    std::vector<std::string> targets;
    std::vector<std::string> words;

    const std::string &operator[](const std::string &name) const {
        static const std::string kNone;
        const auto found = options.find(name);
        return found == options.end() ? kNone : found->second;
    }
};

Result<Arguments> Parse(int count, char **values) {
    Arguments arguments;
    for (int i = 1; i < count; ++i) {
        const std::string value = values[i];
        if (!value.starts_with("--")) {
            arguments.words.push_back(value);
        } else if (++i == count) {
            return base::Fail(value + " needs a value");
        } else if (value == "--target-name") {
            arguments.targets.emplace_back(values[i]);
        } else {
            arguments.options[value] = values[i];
        }
    }
    return arguments;
}

// One name of a file for one name of a target, and never a hidden one.
std::string FileNameOf(const std::string &target) {
    const std::string encoded = base::PercentEncode(target);
    if (encoded.size() > 200) {
        return base::DigestOfText(target);
    }
    return encoded.starts_with('.') ? "%2E" + encoded.substr(1) : encoded;
}

bool IsAlreadyThere(const fs::path &file, const delivery::ReleaseTarget &target) {
    const Result<std::string> content = base::ReadWhole(file, kMaxFile);
    return content && delivery::CheckFile(target.path, target.facts, *content);
}

Result<void> DownloadTarget(Http &http, const std::string &url, const fs::path &folder,
                            const delivery::ReleaseTarget &target) {
    const fs::path file = folder / FileNameOf(target.path);
    if (IsAlreadyThere(file, target)) {
        return {};
    }
    Result<base::StagedFile> staged = base::StagedFile::Make(folder);
    if (!staged) {
        return base::Fail(staged.error());
    }
    delivery::FileCheck check(target.path, target.facts);
    return http
        .Get(AsFolder(url) + target.address,
             [&](std::string_view part) {
                 return check.Add(part).and_then([&] { return base::WriteAll(staged->descriptor(), part); });
             })
        .and_then([&] { return check.Finish(); })
        .and_then([&] { return staged->Commit(file); });
}

Result<void> Init(const Arguments &arguments) {
    if (arguments.words.size() != 2) {
        return base::Fail("init needs the file of the root");
    }
    return base::ReadWhole(arguments.words[1], kMaxFile).and_then([&](const std::string &root) {
        return delivery::ReleaseClient::Pin(arguments["--metadata-dir"], root);
    });
}

Result<void> Refresh(const Arguments &arguments) {
    Http http;
    MetadataFetcher fetcher(http, arguments["--metadata-url"]);
    delivery::ReleaseClient client(arguments["--metadata-dir"], fetcher);
    Result<void> done = client.Refresh(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
    for (const std::string &name : arguments.targets) {
        done = done.and_then([&] { return client.Find(name); }).and_then([&](const delivery::ReleaseTarget &target) {
            return DownloadTarget(http, arguments["--target-base-url"], arguments["--target-dir"], target);
        });
    }
    return done;
}

Result<void> Run(const Arguments &arguments) {
    const std::string word = arguments.words.empty() ? "" : arguments.words.front();
    if (word == "init") {
        return Init(arguments);
    }
    if (word == "refresh" || word == "download") {
        return Refresh(arguments);
    }
    return base::Fail("the command is init, refresh or download");
}

} // namespace

int main(int count, char **values) {
    const Result<void> done = Parse(count, values).and_then(Run);
    if (!done) {
        std::fprintf(stderr, "tuf_client: %s\n", done.error().text.c_str());
    }
    return done ? 0 : 1;
}
