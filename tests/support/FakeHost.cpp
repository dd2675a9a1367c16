#include "tests/support/FakeHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>

namespace {

std::string TextOrNull(const char *text) {
    return text ? text : "(null)";
}

} // namespace

void FakeHost::Request::Progress(unsigned int bytes) const {
    callback(nullptr, context, LUMGetFileNotifyProgress,
             reinterpret_cast<void *>(std::uintptr_t{bytes})); // NOLINT(performance-no-int-to-ptr)
}

void FakeHost::Request::Done(const char *path) const {
    callback(nullptr, context, LUMGetFileNotifyDone, const_cast<char *>(path));
}

FakeHost &FakeHost::Called(void *cookie) {
    auto &host = *static_cast<FakeHost *>(cookie);
    std::fill(host.m_answer.begin(), host.m_answer.end(), '#');
    return host;
}

FakeHost::FakeHost() {
    m_answer.reserve(4096);
    install = [](const std::string &file, const std::string &destination) {
        std::filesystem::copy(file, destination, std::filesystem::copy_options::recursive);
        return 0;
    };
    table.pfnGetParameter = [](void *cookie, const char *name) -> const char * {
        FakeHost &host = Called(cookie);
        const auto found = host.parameters.find(name);
        if (found == host.parameters.end()) {
            return nullptr;
        }
        host.m_answer.assign(found->second); // in the place of the last answer where it fits
        return host.m_answer.c_str();
    };
    table.pfnOpenURL = [](void *cookie, const char *target, const char *url) {
        Called(cookie).navigations.push_back({TextOrNull(target), TextOrNull(url)});
    };
    table.pfnGetFile = [](void *cookie, LUMGetFileCallback callback, void *context, const char *url) {
        Called(cookie).requests.push_back({callback, context, url});
    };
    table.pfnInstallFile = [](void *cookie, const char *file, const char *destination, void *) {
        FakeHost &host = Called(cookie);
        host.installs.push_back({file, destination});
        return host.install(file, destination);
    };
    table.pfnGetWindow = [](void *cookie) -> _NPWindow * {
        ++Called(cookie).windowQueries;
        return nullptr;
    };
    table.pfnStop = [](void *cookie) { ++Called(cookie).stops; };
    table.pfnShowMessage = [](void *cookie, const char *message) { Called(cookie).messages.emplace_back(message); };
}

void FakeHost::EnableLog() {
    parameters["LoggingURL"] = "http://log.example/l?a=b";
    parameters["MeetingID"] = "M1";
    parameters["SessionID"] = "S1";
}

std::vector<std::string> FakeHost::LogCodes() const {
    std::vector<std::string> codes;
    for (const Navigation &navigation : navigations) {
        const std::string key = "&ErrorCode=";
        if (const auto start = navigation.url.find(key); start != std::string::npos) {
            const auto first = start + key.size();
            codes.push_back(navigation.url.substr(first, navigation.url.find('&', first) - first));
        }
    }
    return codes;
}

std::vector<FakeHost::Navigation> FakeHost::PageNavigations() const {
    std::vector<Navigation> pages;
    for (const Navigation &navigation : navigations) {
        if (navigation.target != "(null)") {
            pages.push_back(navigation);
        }
    }
    return pages;
}

const FakeHost::Request &FakeHost::RequestFor(const std::string &part) const {
    for (const Request &request : requests) {
        if (request.url.find(part) != std::string::npos) {
            return request;
        }
    }
    ADD_FAILURE() << "nobody asked for " << part;
    std::abort();
}
