#include "host/release/Pins.h"

#include <fcntl.h>
#include <json/json.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <sstream>

#include "base/Digest.h"
#include "base/Files.h"
#include "base/Text.h"
#include "delivery/release/ReleaseClient.h"

namespace lumhost {

namespace fs = std::filesystem;

namespace {

constexpr char kRecord[] = "pin";
constexpr char kRoot[] = "root.json";
constexpr char kSuffix[] = ".json";
const std::uint64_t kLargestRoot = delivery::ReleaseLimits().root;

constexpr std::pair<Pin::Source, const char *> kSources[] = {{Pin::Source::Administrator, "administrator"},
                                                             {Pin::Source::User, "user"},
                                                             {Pin::Source::FirstVisit, "first visit"}};

std::string Today() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[16];
    std::strftime(text, sizeof text, "%Y-%m-%d", &utc);
    return text;
}

// What is written down of a pin. Null when nothing legible is.
Json::Value ReadRecord(const fs::path &folder) {
    Json::Value record;
    const base::Result<std::string> text = base::ReadWhole(folder / kRecord, 4096);
    std::istringstream in(text.value_or(""));
    std::string errors;
    const bool read = Json::parseFromStream(Json::CharReaderBuilder(), in, &record, &errors) && record.isObject();
    return read ? record : Json::Value();
}

base::Result<void> WriteRecord(const fs::path &folder, Pin::Source source, std::string_view root) {
    Json::Value record;
    for (const auto &[each, name] : kSources) {
        if (each == source) {
            record["source"] = name;
        }
    }
    record["since"] = Today();
    record["root"] = base::DigestOfText(root);
    return base::ReplaceFile(folder / kRecord, Json::writeString(Json::StreamWriterBuilder(), record) + "\n");
}

std::string TextOf(const Json::Value &record, const char *name) {
    return record.isObject() && record[name].isString() ? record[name].asString() : "";
}

// Whether nobody but `owner` may have written it.
bool IsOnlyFrom(uid_t owner, const struct stat &status) {
    return status.st_uid == owner && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// Why a file is no root, without the advice for a file that a site has served.
std::string NoRoot(const base::Error &error) {
    return error.text.substr(0, error.text.find(';'));
}

// Also when it cannot be looked at.
bool IsThere(const fs::path &file) {
    std::error_code error;
    return fs::symlink_status(file, error).type() != fs::file_type::not_found;
}

bool IsPinnedTo(const Pin &pin, std::string_view root) {
    return TextOf(ReadRecord(pin.folder), "root") == base::DigestOfText(root) ||
           base::ReadWhole(pin.folder / kRoot, kLargestRoot).value_or("") == root;
}

} // namespace

fs::path Pins::FolderOf(const std::string &site) const {
    return m_folder / base::PercentEncode(site);
}

fs::path Pins::AdministratorsFile(const std::string &site) const {
    const std::size_t scheme = site.find("://");
    return m_administrators / ((scheme == std::string::npos ? site : site.substr(scheme + 3)) + kSuffix);
}

base::Result<std::optional<std::string>> Pins::AdministratorsRoot(const std::string &site) const {
    const fs::path file = AdministratorsFile(site);
    const base::ScopedDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor && (errno == ENOENT || errno == ENOTDIR)) {
        return std::nullopt;
    }
    struct stat own {
    }, folder{};
    if (!descriptor || fstat(descriptor.get(), &own) != 0 || stat(m_administrators.c_str(), &folder) != 0) {
        return base::SystemFailure("the root of " + site + " in " + file.string() + " cannot be read", errno);
    }
    if (!IsOnlyFrom(m_administrator, own) || !IsOnlyFrom(m_administrator, folder)) {
        return base::Fail("the root of " + site + " in " + file.string() +
                          " is not used: the file and its folder have to belong to root, and nobody else may write "
                          "them; tell the administrator of this computer");
    }
    base::Result<std::string> root = base::ReadWhole(descriptor.get(), kLargestRoot);
    return root ? base::Result<std::optional<std::string>>(std::move(*root)) : base::Fail(root.error());
}

std::optional<Pin> Pins::Saved(const std::string &site) const {
    Pin pin{site, Pin::Source::User, {}, FolderOf(site)};
    if (!IsThere(pin.folder / kRoot) && !IsThere(pin.folder / kRecord)) { // a lost root does not unpin the site
        return std::nullopt;
    }
    const Json::Value record = ReadRecord(pin.folder);
    pin.since = TextOf(record, "since");
    for (const auto &[source, name] : kSources) {
        if (TextOf(record, "source") == name) {
            pin.source = source;
        }
    }
    return pin;
}

base::Result<Pin> Pins::PinTo(const std::string &site, std::string_view root, Pin::Source source) const {
    const fs::path folder = FolderOf(site);
    return delivery::ReleaseClient::Pin(folder, root)
        .and_then([&] { return WriteRecord(folder, source, root); })
        .map([&] { return *Saved(site); });
}

base::Result<std::optional<Pin>> Pins::Find(const std::string &site) const {
    const base::Result<std::optional<std::string>> set = AdministratorsRoot(site);
    if (!set) {
        return base::Fail(set.error());
    }
    std::optional<Pin> saved = Saved(site);
    if (!*set || (saved && saved->source == Pin::Source::Administrator && IsPinnedTo(*saved, **set) &&
                  IsThere(saved->folder / kRoot))) {
        return saved;
    }
    const base::Result<Pin> pinned = PinTo(site, **set, Pin::Source::Administrator);
    if (!pinned) {
        return base::Fail("the root of " + site + " in " + AdministratorsFile(site).string() +
                          " is not used: " + NoRoot(pinned.error()) + "; tell the administrator of this computer");
    }
    return *pinned;
}

std::vector<Pin> Pins::All(std::vector<base::Error> *unusable) const {
    std::vector<std::string> sites;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(m_administrators, error)) {
        if (entry.path().extension() == kSuffix) {
            sites.push_back("https://" + entry.path().stem().string());
        }
    }
    for (const auto &entry : fs::directory_iterator(m_folder, error)) {
        const auto site = base::PercentDecode(entry.path().filename().string());
        if (site && site->find("://") != std::string::npos) {
            sites.push_back(*site);
        }
    }
    std::sort(sites.begin(), sites.end());
    sites.erase(std::unique(sites.begin(), sites.end()), sites.end());
    std::vector<Pin> pins;
    for (const std::string &site : sites) {
        base::Result<std::optional<Pin>> pin = Find(site);
        if (pin && *pin) {
            pins.push_back(std::move(**pin));
        } else if (!pin && unusable) {
            unusable->push_back(pin.error());
        }
    }
    return pins;
}

base::Result<Pin> Pins::Add(const std::string &site, std::string_view root, bool replace) const {
    const base::Result<std::optional<std::string>> set = AdministratorsRoot(site);
    if (!set || *set) {
        return base::Fail("the administrator of this computer has set the root of " + site + " (in " +
                          AdministratorsFile(site).string() + "), so only the administrator can change it");
    }
    if (const base::Result<void> good = delivery::TrustedRelease(delivery::ReleaseTime{}).StartFrom(root); !good) {
        return base::Fail(NoRoot(good.error()) + "; ask the operator of the site for its root.json");
    }
    const std::optional<Pin> saved = Saved(site);
    if (saved && IsPinnedTo(*saved, root)) {
        return IsThere(saved->folder / kRoot) ? base::Result<Pin>(*saved) : PinTo(site, root, saved->source);
    }
    if (saved && !replace) {
        return base::Fail(site + " is pinned to another root, which \"lumhost allowed\" shows. A newer root of the "
                                 "site is found by itself. If the operator of the site confirms, by another way than "
                                 "the site, that its keys were lost, give the new root with --new-root");
    }
    return PinTo(site, root, Pin::Source::User);
}

base::Result<Pin> Pins::Adopt(const std::string &site, const fs::path &folder) const {
    const base::Result<std::string> root = base::ReadWhole(folder / kRoot, kLargestRoot);
    if (!root) {
        return base::Fail(root.error());
    }
    if (base::Result<void> noted = WriteRecord(folder, Pin::Source::FirstVisit, *root); !noted) {
        return base::Fail(noted.error());
    }
    std::error_code error;
    fs::rename(folder, FolderOf(site), error);
    std::optional<Pin> pin = Saved(site);
    return pin ? base::Result<Pin>(std::move(*pin))
               : base::SystemFailure("cannot save the root of " + site + " in " + m_folder.string(), error.value());
}

base::Result<void> Pins::Forget(const std::string &site) const {
    std::error_code error;
    fs::remove_all(FolderOf(site), error);
    return error ? base::SystemFailure("cannot remove " + FolderOf(site).string(), error.value())
                 : base::Result<void>();
}

const char *NameOf(Pin::Source source) {
    switch (source) {
    case Pin::Source::Administrator:
        return "set by the administrator";
    case Pin::Source::User:
        return "set by the user";
    case Pin::Source::FirstVisit:
        return "since the first visit";
    }
    return "";
}

} // namespace lumhost
