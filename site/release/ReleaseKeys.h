// The keys of a site's signed release: a folder that only its owner may enter.
//
//   release.json     what signs for which role, and for how long; not secret
//   N.root.json      the roots, from the first on; not secret
//   next.root.json   a root that is waiting for signatures (RootCeremony.h)
//   offline/         root-1.key and so on: for ceremonies only
//   targets-1.key    signs what publish makes
//   online/          snapshot-1.key, timestamp-1.key: sign what renew makes, and publish too
//
// A key may be away (offline, or on another computer): it is missed only when its signature is needed.
#pragma once

#include <json/value.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"
#include "delivery/release/Metadata.h"
#include "site/release/SigningKey.h"

namespace lumsite {

struct NamedKey {
    std::string name; // "root-1"
    delivery::MetadataType role;
    Json::Value described; // the public half, as metadata lists it
    delivery::ReleaseKey key;
    std::filesystem::path file;       // of the private key, absolute; empty when a command signs
    std::vector<std::string> command; // gets the bytes at its standard input, answers the signature; run in the folder
};

class ReleaseKeys {
public:
    static base::Result<ReleaseKeys> Read(const std::filesystem::path &folder);
    // Of a new folder, with the default days and without keys.
    explicit ReleaseKeys(std::filesystem::path folder);

    const std::filesystem::path &folder() const {
        return m_folder;
    }
    // How long a signature of the role is valid.
    std::chrono::days DaysOf(delivery::MetadataType role) const {
        return m_days.at(role);
    }
    const std::vector<NamedKey> &keys() const {
        return m_keys;
    }
    // Null when the folder does not know the key.
    const NamedKey *Find(const std::string &id) const;

    // Makes a key pair for the role, and its file. Save follows.
    base::Result<NamedKey> Make(delivery::MetadataType role, SigningKeyType type);
    // Takes a key whose private half is elsewhere. Save follows.
    NamedKey Add(delivery::MetadataType role, const Json::Value &described, std::vector<std::string> command);
    base::Result<void> Save() const;

    // The signature of one key, binary, which the key itself has verified. Fails with ENOENT when the key is away.
    base::Result<std::string> Sign(const NamedKey &key, std::string_view bytes) const;

    // Every root from the first on, each verified by the one before. Fails when there is none.
    base::Result<std::vector<std::string>> Roots() const;
    std::filesystem::path RootFile(std::uint64_t version) const;

private:
    std::filesystem::path FileOf(delivery::MetadataType role, const std::string &name) const;
    std::string NewName(delivery::MetadataType role) const;

    std::filesystem::path m_folder; // absolute
    std::map<delivery::MetadataType, std::chrono::days> m_days;
    std::vector<NamedKey> m_keys;
};

// The name of a role or type on the command line; nothing for another word.
std::optional<delivery::MetadataType> RoleNamed(std::string_view name);

} // namespace lumsite
