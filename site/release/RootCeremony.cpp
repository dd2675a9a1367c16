#include "site/release/RootCeremony.h"

#include <algorithm>
#include <cerrno>

#include "base/Files.h"
#include "delivery/release/ReleaseFault.h"
#include "delivery/release/TrustedRelease.h"
#include "site/keys/KeyFolder.h"
#include "site/release/MetadataText.h"
#include "site/release/ReleaseKeys.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Result;
using delivery::MetadataType;
using delivery::NameOf;
using delivery::ReleaseTime;

constexpr std::uint64_t kLargestRoot = 512'000; // what clients read
constexpr MetadataType kAllRoles[] = {MetadataType::Root, MetadataType::Targets, MetadataType::Snapshot,
                                      MetadataType::Timestamp};

fs::path WaitingRoot(const ReleaseKeys &keys) {
    return keys.folder() / "next.root.json";
}

Result<delivery::Root> Parse(const std::string &bytes) {
    return delivery::ReadSigned(NameOf(MetadataType::Root), MetadataType::Root, bytes).and_then(delivery::ReadRoot);
}

std::vector<std::string> IdsOf(const Json::Value &content, MetadataType role) {
    std::vector<std::string> ids;
    for (const Json::Value &id : content["roles"][NameOf(role)]["keyids"]) {
        ids.push_back(id.asString());
    }
    return ids;
}

void SetRole(Json::Value &content, MetadataType role, const std::vector<std::string> &ids, std::size_t threshold) {
    Json::Value &entry = content["roles"][NameOf(role)];
    entry["threshold"] = static_cast<Json::UInt64>(threshold);
    entry["keyids"] = Json::arrayValue;
    for (const std::string &id : ids) {
        entry["keyids"].append(id);
    }
}

// Lists each key of a role, and none besides.
void SetKeys(Json::Value &content, const ReleaseKeys &keys) {
    const Json::Value before = content["keys"];
    content["keys"] = Json::objectValue;
    for (const MetadataType role : kAllRoles) {
        for (const std::string &id : IdsOf(content, role)) {
            const NamedKey *key = keys.Find(id);
            content["keys"][id] = key ? key->described : before[id];
        }
    }
}

Result<void> RefuseThreshold(MetadataType role, std::size_t keys, std::size_t threshold) {
    if (threshold < 1 || threshold > keys) {
        return Fail(std::string(NameOf(role)) + " would have " + std::to_string(keys) + " keys, of which " +
                    std::to_string(threshold) + " have to sign; give it more keys or a smaller threshold");
    }
    return {};
}

// "root: root-1, root-2, root-4; 2 have to sign".
std::vector<std::string> Describe(const Json::Value &content, const ReleaseKeys &keys) {
    std::vector<std::string> lines = {"expires: " + content["expires"].asString()};
    for (const MetadataType role : kAllRoles) {
        std::string line = std::string(NameOf(role)) + ":";
        for (const std::string &id : IdsOf(content, role)) {
            const NamedKey *key = keys.Find(id);
            line += " " + (key ? key->name : id);
        }
        lines.push_back(line + " (" + content["roles"][NameOf(role)]["threshold"].asString() + " must sign)");
    }
    return lines;
}

// Of one root.
class Ceremony {
public:
    Ceremony(ReleaseKeys &keys, std::string before) : m_keys(keys), m_before(std::move(before)) {}

    Result<void> Replace(Json::Value &content, MetadataType role, const Rotation &rotation);
    Result<CeremonyResult> Sign(MetadataText text);

private:
    Result<std::string> NewKey(MetadataType role, const Rotation &rotation);

    ReleaseKeys &m_keys;
    const std::string m_before; // the root that is to be followed
    CeremonyResult m_result;
};

Result<std::string> Ceremony::NewKey(MetadataType role, const Rotation &rotation) {
    if (rotation.publicKey.empty()) {
        const Result<NamedKey> key = m_keys.Make(role, rotation.type);
        if (!key) {
            return Fail(key.error());
        }
        m_result.made.push_back(key->name);
        return key->key.id();
    }
    const Result<Json::Value> described = DescribePublicKeyFile(rotation.publicKey);
    if (!described) {
        return Fail(described.error());
    }
    if (m_keys.Find(delivery::ReleaseKey::Read(*described).id())) {
        return Fail(rotation.publicKey.string() + " is a key of this release already");
    }
    const NamedKey key = m_keys.Add(role, *described, rotation.command);
    m_result.made.push_back(key.name);
    return key.key.id();
}

Result<void> Ceremony::Replace(Json::Value &content, MetadataType role, const Rotation &rotation) {
    const std::vector<std::string> before = IdsOf(content, role);
    std::vector<std::string> ids;
    for (const std::string &id : before) {
        const NamedKey *key = m_keys.Find(id);
        const std::string name = key ? key->name : id;
        if (rotation.only.empty() || rotation.only.contains(name)) {
            m_result.retired.push_back(name);
        } else {
            ids.push_back(id);
        }
    }
    const std::size_t fresh = rotation.newKeys.value_or(before.size() - ids.size());
    if (!rotation.publicKey.empty() && fresh != 1) {
        return Fail("one public key cannot stand for the " + std::to_string(fresh) + " new keys of " + NameOf(role) +
                    "; name the one that it replaces with --only");
    }
    const std::size_t threshold = rotation.threshold.value_or(content["roles"][NameOf(role)]["threshold"].asUInt64());
    if (Result<void> possible = RefuseThreshold(role, ids.size() + fresh, threshold); !possible) {
        return possible;
    }
    for (std::size_t i = 0; i < fresh; ++i) {
        const Result<std::string> id = NewKey(role, rotation);
        if (!id) {
            return Fail(id.error());
        }
        ids.push_back(*id);
    }
    SetRole(content, role, ids, threshold);
    return {};
}

Result<CeremonyResult> Ceremony::Sign(MetadataText text) {
    const Result<delivery::Root> before = Parse(m_before);
    if (!before) {
        return Fail(before.error());
    }
    m_result.version = text.content()["version"].asUInt64();
    m_result.content = Describe(text.content(), m_keys);
    std::set<std::string> signers;
    std::ranges::copy(before->roles.at(NameOf(MetadataType::Root)).keyIds, std::inserter(signers, signers.end()));
    std::ranges::copy(IdsOf(text.content(), MetadataType::Root), std::inserter(signers, signers.end()));
    text.Sign(m_keys, {signers.begin(), signers.end()}, m_result.missing);
    std::ranges::sort(m_result.missing); // the ids have an order that means nothing
    const std::string bytes = text.Text();
    // What clients will do decides whether it is enough.
    delivery::TrustedRelease client{ReleaseTime{}};
    const Result<void> complete = client.StartFrom(m_before).and_then([&] { return client.TakeNextRoot(bytes); });
    m_result.isComplete = complete.has_value();
    if (!complete) {
        const bool isUnsigned = delivery::FaultOf(complete.error()) == delivery::ReleaseFault::NotSigned;
        m_result.lacking = isUnsigned ? "more root keys have to sign it" : complete.error().text;
    }
    const Result<void> written =
        base::ReplaceFile(complete ? m_keys.RootFile(m_result.version) : WaitingRoot(m_keys), bytes);
    if (!written) {
        return Fail(written.error());
    }
    std::error_code error;
    if (complete) {
        fs::remove(WaitingRoot(m_keys), error);
    }
    return std::move(m_result);
}

// ENOENT when there is none. One that has become a version, in a ceremony that was interrupted then, is removed.
Result<MetadataText> ReadWaiting(const ReleaseKeys &keys, std::size_t roots) {
    const fs::path file = WaitingRoot(keys);
    const Result<std::string> bytes = base::ReadWhole(file, kLargestRoot);
    if (!bytes) {
        return Fail(bytes.error());
    }
    Result<MetadataText> waiting = MetadataText::Read(*bytes);
    if (!waiting) {
        return Fail(file.string() + " cannot be used: " + waiting.error().text + "; remove it, and rotate again");
    }
    std::error_code error;
    if (waiting->content()["version"].asUInt64() <= roots && fs::remove(file, error)) {
        return Fail("it is complete", ENOENT);
    }
    return waiting;
}

Result<void> RefuseWaiting(const ReleaseKeys &keys, std::size_t roots) {
    const Result<MetadataText> waiting = ReadWaiting(keys, roots);
    if (!waiting && waiting.error().code == ENOENT) {
        return {};
    }
    return Fail(WaitingRoot(keys).string() + " is waiting for signatures; complete it with: lumsite rotate --sign " +
                keys.folder().string() + ", or remove it");
}

Result<void> RefuseUnknown(const ReleaseKeys &keys, const Rotation &rotation) {
    for (const std::string &name : rotation.only) {
        const auto key = std::ranges::find(keys.keys(), name, &NamedKey::name);
        if (key == keys.keys().end() || !rotation.roles.contains(key->role)) {
            return Fail("no key of the roles to rotate is named " + name);
        }
    }
    return {};
}

} // namespace

Result<void> MakeReleaseKeys(const fs::path &folder, const NewReleaseOptions &options, ReleaseTime now) {
    const Result<void> ready =
        RefuseThreshold(MetadataType::Root, options.rootKeys, options.rootThreshold).and_then([&] {
            return TakeKeyFolder(folder);
        });
    if (!ready) {
        return ready;
    }
    ReleaseKeys keys(folder);
    Json::Value content = MetadataContent(MetadataType::Root, 1, now + keys.DaysOf(MetadataType::Root));
    content["consistent_snapshot"] = true;
    for (const MetadataType role : kAllRoles) {
        const bool isRoot = role == MetadataType::Root;
        std::vector<std::string> ids;
        while (ids.size() < (isRoot ? options.rootKeys : 1)) {
            const Result<NamedKey> key = keys.Make(role, options.type);
            if (!key) {
                return Fail(key.error());
            }
            ids.push_back(key->key.id());
        }
        SetRole(content, role, ids, isRoot ? options.rootThreshold : 1);
    }
    SetKeys(content, keys);
    MetadataText root(std::move(content));
    std::vector<std::string> missing;
    root.Sign(keys, IdsOf(root.content(), MetadataType::Root), missing);
    if (!missing.empty()) {
        return Fail(missing.front());
    }
    return keys.Save().and_then([&] { return base::ReplaceFile(keys.RootFile(1), root.Text()); });
}

Result<CeremonyResult> RotateKeys(const fs::path &folder, const Rotation &rotation, ReleaseTime now) {
    Result<ReleaseKeys> keys = ReleaseKeys::Read(folder);
    if (!keys) {
        return Fail(keys.error());
    }
    const Result<std::vector<std::string>> roots = keys->Roots();
    if (!roots) {
        return Fail(roots.error());
    }
    const Result<void> possible =
        RefuseWaiting(*keys, roots->size()).and_then([&] { return RefuseUnknown(*keys, rotation); });
    if (!possible) {
        return Fail(possible.error());
    }
    const Result<MetadataText> last = MetadataText::Read(roots->back());
    if (!last) {
        return Fail(last.error());
    }
    Json::Value content = last->content();
    content["version"] = static_cast<Json::UInt64>(roots->size() + 1);
    content["expires"] = delivery::MetadataTime(now + keys->DaysOf(MetadataType::Root));
    Ceremony ceremony(*keys, roots->back());
    for (const MetadataType role : rotation.roles) {
        if (const Result<void> replaced = ceremony.Replace(content, role, rotation); !replaced) {
            return Fail(replaced.error());
        }
    }
    SetKeys(content, *keys);
    if (const Result<void> saved = keys->Save(); !saved) {
        return Fail(saved.error());
    }
    return ceremony.Sign(MetadataText(std::move(content)));
}

Result<CeremonyResult> SignRoot(const fs::path &folder) {
    Result<ReleaseKeys> keys = ReleaseKeys::Read(folder);
    if (!keys) {
        return Fail(keys.error());
    }
    const Result<std::vector<std::string>> roots = keys->Roots();
    if (!roots) {
        return Fail(roots.error());
    }
    Result<MetadataText> waiting = ReadWaiting(*keys, roots->size());
    if (!waiting && waiting.error().code == ENOENT) {
        return Fail("no root is waiting for signatures in " + folder.string());
    }
    if (!waiting) {
        return Fail(waiting.error());
    }
    return Ceremony(*keys, roots->back()).Sign(std::move(*waiting));
}

} // namespace lumsite
