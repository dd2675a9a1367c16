// The sites whose releases have to be signed, and the root that each was pinned to.
//
// A pinned site stays pinned until the user forbids it: nothing that the site or the network does makes its unsigned
// files acceptable again. Each pin is a folder of the user's, with what delivery::ReleaseClient keeps of the release;
// the administrator's roots are files of a folder of the machine, and go before what the user or a first visit chose.
// Any thread; several processes at once.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"

namespace lumhost {

struct Pin {
    enum class Source { Administrator, User, FirstVisit };

    std::string site; // as ReadOrigin gives it
    Source source = Source::User;
    std::string since; // "2026-11-21", UTC; empty when it is not known
    // What is kept of the release: the metadata (delivery/release/ReleaseStore.h) and the instruction file.
    std::filesystem::path folder;
};

class Pins {
public:
    // The administrator's roots are only used when `administrator` owns them and nobody else may write them.
    Pins(std::filesystem::path folder, std::filesystem::path administrators, uid_t administrator = 0)
        : m_folder(std::move(folder)), m_administrators(std::move(administrators)), m_administrator(administrator) {}

    // The pin of the site; nothing when it has none. A root of the administrator that is new is pinned by this. Fails
    // when the administrator's file cannot be trusted or is not a root: the site must not be started then.
    base::Result<std::optional<Pin>> Find(const std::string &site) const;
    // All of them, sorted; a file of the administrator's that cannot be used is left out, and why is added to
    // `unusable` (may be null).
    std::vector<Pin> All(std::vector<base::Error> *unusable = nullptr) const;

    // Pins the site to this root (the bytes of a root.json). Pinning to the root that is pinned or trusted already
    // succeeds. Fails when it is not a root, when the administrator has set one, and, without `replace`, when the site
    // is pinned to another one. With `replace` everything that was known of the site's releases is forgotten.
    base::Result<Pin> Add(const std::string &site, std::string_view root, bool replace) const;
    // Makes what a first visit has accepted the site's pin: `folder`, on the same file system, is moved. When the site
    // has been pinned meanwhile that pin stays and is answered.
    base::Result<Pin> Adopt(const std::string &site, const std::filesystem::path &folder) const;
    base::Result<void> Forget(const std::string &site) const;

    const std::filesystem::path &folder() const {
        return m_folder;
    }
    // The file in which the administrator may put the site's root.
    std::filesystem::path AdministratorsFile(const std::string &site) const;

private:
    std::filesystem::path FolderOf(const std::string &site) const;
    base::Result<std::optional<std::string>> AdministratorsRoot(const std::string &site) const;
    std::optional<Pin> Saved(const std::string &site) const;
    base::Result<Pin> PinTo(const std::string &site, std::string_view root, Pin::Source source) const;

    std::filesystem::path m_folder;
    std::filesystem::path m_administrators;
    uid_t m_administrator;
};

// "set by the administrator", "set by the user", "since the first visit"
const char *NameOf(Pin::Source source);

} // namespace lumhost
