#include "site/release/ReleaseKeys.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "base/Files.h"
#include "base/RunProgram.h"
#include "base/Text.h"
#include "delivery/release/MetadataFields.h"
#include "delivery/release/ReleaseLayout.h"
#include "delivery/release/StrictJson.h"
#include "delivery/release/TrustedRelease.h"
#include "site/release/MetadataText.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Result;
using delivery::MetadataFields;
using delivery::MetadataType;
using delivery::NameOf;

constexpr const char *kDescription = "release.json";
constexpr std::uint64_t kLargestFile = 1 << 20;
constexpr std::size_t kLargestSignature = 4096;
constexpr std::uint64_t kLongestDays = 36500;

const std::map<MetadataType, std::chrono::days> kUsualDays = {{MetadataType::Root, std::chrono::days(365)},
                                                              {MetadataType::Targets, std::chrono::days(180)},
                                                              {MetadataType::Snapshot, std::chrono::days(14)},
                                                              {MetadataType::Timestamp, std::chrono::days(7)}};

fs::path SubfolderOf(MetadataType role) {
    return role == MetadataType::Root ? "offline" : role == MetadataType::Targets ? "" : "online";
}

bool IsPlainName(const std::string &name) {
    return !name.empty() && name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == std::string::npos;
}

// An entry of "keys".
NamedKey ReadKey(MetadataFields &fields, const Json::Value &keys, const std::string &name, const fs::path &folder) {
    const Json::Value &entry = fields.Object(keys, name);
    const Json::Value &described = fields.Object(entry, "public");
    NamedKey key{name, MetadataType::Root, described, delivery::ReleaseKey::Read(described), {}, {}};
    if (const auto role = RoleNamed(fields.Text(entry, "role"))) {
        key.role = *role;
    } else {
        fields.Complain("the \"role\" of " + name + " is not root, targets, snapshot or timestamp");
    }
    if (!IsPlainName(name) || key.key.fingerprint().empty()) {
        fields.Complain(base::Quoted(name) + " is not a key of a kind that can sign a release");
    }
    const Json::Value &signer = fields.Object(entry, "signer");
    if (MetadataFields::Find(signer, "command")) {
        key.command = fields.Texts(signer, "command");
    } else {
        key.file = (folder / fields.Text(signer, "file")).lexically_normal();
    }
    if (key.file.empty() && key.command.empty()) {
        fields.Complain("the \"signer\" of " + name + " is empty");
    }
    return key;
}

} // namespace

std::optional<MetadataType> RoleNamed(std::string_view name) {
    for (const auto &[role, days] : kUsualDays) {
        if (name == NameOf(role)) {
            return role;
        }
    }
    return std::nullopt;
}

ReleaseKeys::ReleaseKeys(fs::path folder) : m_days(kUsualDays) {
    std::error_code error;
    m_folder = fs::absolute(folder, error).lexically_normal();
}

Result<ReleaseKeys> ReleaseKeys::Read(const fs::path &folder) {
    ReleaseKeys keys(folder);
    const fs::path file = folder / kDescription;
    const Result<std::string> text = base::ReadWhole(file, kLargestFile);
    if (!text && text.error().code == ENOENT) {
        return Fail("there are no keys of a signed release in " + folder.string() + "; make them with: lumsite init " +
                    folder.string() + " --release");
    }
    if (!text) {
        return Fail(text.error());
    }
    const Result<Json::Value> root = delivery::ReadStrictJson(*text);
    if (!root) {
        return Fail(file.string() + " cannot be used: " + root.error().text);
    }
    MetadataFields fields;
    const Json::Value &days = fields.Object(*root, "days");
    for (auto &[role, length] : keys.m_days) {
        const std::uint64_t number = fields.Number(days, NameOf(role), 1);
        length = std::chrono::days(std::min(number, kLongestDays));
    }
    const Json::Value &list = fields.Object(*root, "keys");
    for (const std::string &name : list.getMemberNames()) {
        keys.m_keys.push_back(ReadKey(fields, list, name, keys.m_folder));
    }
    if (!fields.fault().empty()) {
        return Fail(file.string() + " cannot be used: " + fields.fault());
    }
    return keys;
}

const NamedKey *ReleaseKeys::Find(const std::string &id) const {
    const auto found = std::ranges::find(m_keys, id, [](const NamedKey &key) { return key.key.id(); });
    return found == m_keys.end() ? nullptr : &*found;
}

fs::path ReleaseKeys::FileOf(MetadataType role, const std::string &name) const {
    return m_folder / SubfolderOf(role) / (name + ".key");
}

std::string ReleaseKeys::NewName(MetadataType role) const {
    for (std::size_t number = 1;; ++number) {
        std::string name = std::string(NameOf(role)) + "-" + std::to_string(number);
        std::error_code error; // a file without an entry is what an interrupted ceremony has left
        if (std::ranges::find(m_keys, name, &NamedKey::name) == m_keys.end() &&
            !fs::exists(FileOf(role, name), error)) {
            return name;
        }
    }
}

NamedKey ReleaseKeys::Add(MetadataType role, const Json::Value &described, std::vector<std::string> command) {
    m_keys.push_back({NewName(role), role, described, delivery::ReleaseKey::Read(described), {}, std::move(command)});
    return m_keys.back();
}

Result<NamedKey> ReleaseKeys::Make(MetadataType role, SigningKeyType type) {
    const Result<ScopedKey> pair = MakeSigningKey(type);
    if (!pair) {
        return Fail(pair.error());
    }
    const Result<std::string> pem = SigningKeyToPem(pair->get());
    const Result<Json::Value> described = DescribeKey(pair->get());
    if (!pem || !described) {
        return Fail(pem ? described.error() : pem.error());
    }
    Add(role, *described, {});
    NamedKey &key = m_keys.back();
    key.file = FileOf(role, key.name);
    const Result<void> written =
        base::MakeFolder(key.file.parent_path()).and_then([&] { return base::WriteNewFile(key.file, *pem); });
    if (!written) {
        return Fail(written.error());
    }
    return key;
}

Result<void> ReleaseKeys::Save() const {
    Json::Value root;
    for (const auto &[role, length] : m_days) {
        root["days"][NameOf(role)] = static_cast<Json::Int>(length.count());
    }
    for (const NamedKey &key : m_keys) {
        Json::Value &entry = root["keys"][key.name];
        entry["role"] = NameOf(key.role);
        entry["public"] = key.described;
        for (const std::string &word : key.command) {
            entry["signer"]["command"].append(word);
        }
        if (key.command.empty()) {
            entry["signer"]["file"] = key.file.lexically_proximate(m_folder).string();
        }
    }
    return base::ReplaceFile(m_folder / kDescription, JsonText(root, "  ") + "\n");
}

Result<std::string> ReleaseKeys::Sign(const NamedKey &key, std::string_view bytes) const {
    Result<std::string> signature = "";
    if (key.command.empty()) {
        signature = CheckKeyIsPrivate(key.file)
                        .and_then([&] { return ReadPemKey(key.file); })
                        .and_then([&](const ScopedKey &pair) { return SignWithKey(pair.get(), bytes); });
    } else {
        signature = base::OutputOfProgram(key.command, m_folder, bytes, kLargestSignature);
    }
    if (!signature) {
        return Fail(key.name + ": " + signature.error().text, signature.error().code);
    }
    if (!key.key.Verify(bytes, *signature)) {
        return Fail(key.name + ": " +
                    (key.command.empty() ? key.file.string() + " is another key than the one in "
                                         : key.command.front() + " answers what is no signature of the key in ") +
                    kDescription);
    }
    return signature;
}

fs::path ReleaseKeys::RootFile(std::uint64_t version) const {
    return m_folder / delivery::MetadataFileName(NameOf(MetadataType::Root), version);
}

Result<std::vector<std::string>> ReleaseKeys::Roots() const {
    std::vector<std::string> roots;
    delivery::TrustedRelease trusted{delivery::ReleaseTime{}};
    for (;;) {
        const fs::path file = RootFile(roots.size() + 1);
        Result<std::string> bytes = base::ReadWhole(file, kLargestFile);
        if (!bytes && bytes.error().code == ENOENT && !roots.empty()) {
            return roots;
        }
        if (!bytes) {
            return Fail(bytes.error());
        }
        const Result<void> taken = roots.empty() ? trusted.StartFrom(*bytes) : trusted.TakeNextRoot(*bytes);
        if (!taken) {
            return Fail(file.string() + ": " + taken.error().text);
        }
        roots.push_back(std::move(*bytes));
    }
}

} // namespace lumsite
