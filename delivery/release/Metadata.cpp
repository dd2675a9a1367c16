#include "delivery/release/Metadata.h"

#include <algorithm>
#include <set>

#include "base/Text.h"
#include "delivery/release/MetadataFields.h"
#include "delivery/release/PathPattern.h"
#include "delivery/release/ReleaseFault.h"
#include "delivery/release/StrictJson.h"

namespace delivery {

namespace {

constexpr std::size_t kMaxSignatures = 256;
constexpr std::size_t kMaxKeys = 1024;
constexpr std::size_t kMaxDelegations = 16'384; // as many hash bins as the largest repositories use
constexpr std::size_t kMaxNameLength = 1024;

constexpr const char *kTypeNames[] = {"root", "timestamp", "snapshot", "targets"};

auto Malformed(const std::string &file, const std::string &fault) {
    return Refuse(ReleaseFault::Malformed,
                  file + " cannot be used: " + fault + "; the site has to publish its release again");
}

// A reader's end.
template <typename Value>
base::Result<Value> Finish(const SignedFile &file, const MetadataFields &fields, Value value) {
    if (!fields.fault().empty()) {
        return Malformed(file.name, fields.fault());
    }
    return value;
}

// "1.0", "1.0.34": the first number decides (semantic versioning).
bool IsReadableVersion(const std::string &version) {
    const bool onlyNumbers = version.find_first_not_of("0123456789.") == std::string::npos;
    return onlyNumbers && version.starts_with("1.") && version.size() > 2 && version.back() != '.';
}

std::optional<ReleaseTime> ReadTime(const std::string &text) {
    constexpr std::string_view kForm = "0000-00-00T00:00:00Z";
    const auto fits = [](char character, char form) {
        return form == '0' ? character >= '0' && character <= '9' : character == form;
    };
    if (!std::equal(text.begin(), text.end(), kForm.begin(), kForm.end(), fits)) {
        return std::nullopt;
    }
    const auto number = [&](std::size_t at, std::size_t digits) {
        return base::ReadNumber<int>(std::string_view(text).substr(at, digits)).value_or(0);
    };
    const std::chrono::year_month_day day{std::chrono::year(number(0, 4)),
                                          std::chrono::month(static_cast<unsigned>(number(5, 2))),
                                          std::chrono::day(static_cast<unsigned>(number(8, 2)))};
    const int hour = number(11, 2);
    const int minute = number(14, 2);
    const int second = number(17, 2);
    if (!day.ok() || hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    return std::chrono::sys_days(day) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
           std::chrono::seconds(second);
}

MetadataHead ReadHead(MetadataFields &fields, const Json::Value &content) {
    if (const std::string version = fields.Text(content, "spec_version");
        fields.fault().empty() && !IsReadableVersion(version)) {
        fields.Complain("it follows version " + base::Quoted(version) +
                        " of The Update Framework, and this program reads version 1 (update the program)");
    }
    MetadataHead head;
    head.version = fields.Number(content, "version", 1);
    if (const std::optional<ReleaseTime> expires = ReadTime(fields.Text(content, "expires"))) {
        head.expires = *expires;
    } else {
        fields.Complain("\"expires\" is not a time like 2030-01-01T00:00:00Z");
    }
    return head;
}

std::vector<Signature> ReadSignatures(MetadataFields &fields, const Json::Value &file) {
    const Json::Value &list = fields.Array(file, "signatures");
    if (list.size() > kMaxSignatures) {
        fields.Complain("it has more than " + std::to_string(kMaxSignatures) + " signatures");
        return {};
    }
    std::vector<Signature> signatures;
    std::set<std::string> seen;
    for (const Json::Value &entry : list) {
        Signature signature{fields.Text(entry, "keyid"), {}};
        signature.bytes = base::FromHex(fields.Text(entry, "sig")).value_or("");
        if (!seen.insert(signature.keyId).second) {
            fields.Complain("it has two signatures of the same key");
        }
        signatures.push_back(std::move(signature));
    }
    return signatures;
}

RoleKeys ReadRoleKeys(MetadataFields &fields, const Json::Value &role) {
    RoleKeys keys;
    keys.keyIds = fields.Texts(role, "keyids");
    keys.threshold = fields.Number(role, "threshold", 1);
    if (keys.keyIds.size() > kMaxKeys) {
        fields.Complain("a role has more than " + std::to_string(kMaxKeys) + " keys");
        keys.keyIds.clear();
    }
    return keys;
}

KeyList ReadKeys(MetadataFields &fields, const Json::Value &holder) {
    const Json::Value &list = fields.Object(holder, "keys");
    if (list.size() > kMaxKeys) {
        fields.Complain("it lists more than " + std::to_string(kMaxKeys) + " keys");
        return {};
    }
    KeyList keys;
    for (auto entry = list.begin(); entry != list.end(); ++entry) {
        if (ReleaseKey key = ReleaseKey::Read(*entry); key.id() == entry.name()) {
            keys.emplace(entry.name(), std::move(key));
        }
    }
    return keys;
}

FileFacts ReadFacts(MetadataFields &fields, const Json::Value &entry) {
    FileFacts facts;
    if (MetadataFields::Find(entry, "length")) {
        facts.length = fields.Number(entry, "length", 0);
    }
    if (!MetadataFields::Find(entry, "hashes")) {
        return facts;
    }
    const Json::Value &hashes = fields.Object(entry, "hashes");
    if (hashes.empty()) {
        fields.Complain("\"hashes\" is empty");
    }
    for (const std::string &algorithm : hashes.getMemberNames()) {
        const std::string hash = fields.Text(hashes, algorithm);
        if (!IsHash(algorithm, hash).value_or(true)) {
            fields.Complain("a " + algorithm + " hash is malformed");
        }
        facts.hashes.emplace(algorithm, hash);
    }
    return facts;
}

ListedFile ReadListedFile(MetadataFields &fields, const Json::Value &files, const std::string &name) {
    const Json::Value &entry = fields.Object(files, name);
    return {fields.Number(entry, "version", 1), ReadFacts(fields, entry)};
}

ListedTarget ReadTarget(MetadataFields &fields, const Json::Value &targets, const std::string &path) {
    const Json::Value &entry = fields.Object(targets, path);
    ListedTarget target{ReadFacts(fields, entry), {}};
    if (!target.facts.length || target.facts.hashes.empty()) {
        fields.Complain("a target is listed without its length or its hashes");
    }
    if (MetadataFields::Find(entry, "custom")) {
        target.custom = fields.Object(entry, "custom");
    }
    return target;
}

Delegation ReadDelegation(MetadataFields &fields, const Json::Value &entry) {
    Delegation delegation;
    delegation.role = fields.Text(entry, "name");
    delegation.keys = ReadRoleKeys(fields, entry);
    delegation.terminating = fields.Flag(entry, "terminating", false);
    if (delegation.role.empty() || delegation.role.size() > kMaxNameLength) {
        fields.Complain("the name of a role is empty or longer than " + std::to_string(kMaxNameLength) + " bytes");
    }
    const bool hasPaths = MetadataFields::Find(entry, "paths") != nullptr;
    const bool hasPrefixes = MetadataFields::Find(entry, "path_hash_prefixes") != nullptr;
    if (hasPaths && hasPrefixes) {
        fields.Complain("a role has both paths and path hash prefixes");
    } else if (hasPaths) {
        delegation.paths = fields.Texts(entry, "paths");
    } else if (hasPrefixes) {
        delegation.hashPrefixes = fields.Texts(entry, "path_hash_prefixes");
    }
    return delegation;
}

void ReadDelegations(MetadataFields &fields, const Json::Value &delegations, Targets &targets) {
    targets.keys = ReadKeys(fields, delegations);
    const Json::Value &roles = fields.Array(delegations, "roles");
    if (roles.size() > kMaxDelegations) {
        fields.Complain("it delegates to more than " + std::to_string(kMaxDelegations) + " roles");
        return;
    }
    std::set<std::string> seen;
    for (const Json::Value &entry : roles) {
        targets.delegations.push_back(ReadDelegation(fields, entry));
        if (!seen.insert(targets.delegations.back().role).second) {
            fields.Complain("it delegates to the same role twice");
        }
    }
}

std::string FormatTime(ReleaseTime time, const char *between, const char *end) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u%s%02d:%02d:%02d%s", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), between,
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()), end);
    return text;
}

} // namespace

const char *NameOf(MetadataType type) {
    return kTypeNames[static_cast<std::size_t>(type)];
}

bool Delegation::Covers(const std::string &target) const {
    if (hashPrefixes.empty()) {
        return std::any_of(paths.begin(), paths.end(), [&](const auto &path) { return MatchesPattern(target, path); });
    }
    const std::string hash = base::DigestOfText(target);
    return std::any_of(hashPrefixes.begin(), hashPrefixes.end(),
                       [&](const std::string &prefix) { return !prefix.empty() && hash.starts_with(prefix); });
}

base::Result<SignedFile> ReadSigned(const std::string &role, MetadataType type, std::string_view bytes) {
    SignedFile file;
    file.name = base::OneLine(role) + ".json";
    base::Result<Json::Value> outer = ReadStrictJson(bytes);
    if (!outer) {
        return Malformed(file.name, outer.error().text);
    }
    MetadataFields fields;
    file.signatures = ReadSignatures(fields, *outer);
    file.content = fields.Object(*outer, "signed");
    if (const std::string found = fields.Text(file.content, "_type"); fields.fault().empty() && found != NameOf(type)) {
        fields.Complain("it is of the type " + base::Quoted(found) + ", not \"" + NameOf(type) + "\"");
    }
    file.head = ReadHead(fields, file.content);
    file.canonical = CanonicalJson(file.content);
    if (!fields.fault().empty()) {
        return Malformed(file.name, fields.fault());
    }
    return file;
}

base::Result<Root> ReadRoot(const SignedFile &file) {
    MetadataFields fields;
    Root root;
    root.head = file.head;
    root.consistentSnapshot = fields.Flag(file.content, "consistent_snapshot", false);
    root.keys = ReadKeys(fields, file.content);
    const Json::Value &roles = fields.Object(file.content, "roles");
    for (const char *name : kTypeNames) {
        root.roles.emplace(name, ReadRoleKeys(fields, fields.Object(roles, name)));
    }
    return Finish(file, fields, std::move(root));
}

base::Result<Timestamp> ReadTimestamp(const SignedFile &file) {
    MetadataFields fields;
    Timestamp timestamp;
    timestamp.head = file.head;
    const Json::Value &files = fields.Object(file.content, "meta");
    timestamp.snapshot = ReadListedFile(fields, files, "snapshot.json");
    if (files.size() > 1) {
        fields.Complain("it lists other files than snapshot.json");
    }
    return Finish(file, fields, std::move(timestamp));
}

base::Result<Snapshot> ReadSnapshot(const SignedFile &file) {
    MetadataFields fields;
    Snapshot snapshot;
    snapshot.head = file.head;
    const Json::Value &files = fields.Object(file.content, "meta");
    for (const std::string &name : files.getMemberNames()) {
        snapshot.files.emplace(name, ReadListedFile(fields, files, name));
    }
    if (!snapshot.files.count("targets.json")) {
        fields.Complain("it does not list targets.json");
    }
    return Finish(file, fields, std::move(snapshot));
}

base::Result<Targets> ReadTargets(const SignedFile &file) {
    MetadataFields fields;
    Targets targets;
    targets.head = file.head;
    const Json::Value &list = fields.Object(file.content, "targets");
    for (const std::string &path : list.getMemberNames()) {
        targets.targets.emplace(path, ReadTarget(fields, list, path));
    }
    if (MetadataFields::Find(file.content, "delegations")) {
        ReadDelegations(fields, fields.Object(file.content, "delegations"), targets);
    }
    if (const Json::Value *custom = MetadataFields::Find(file.content, "custom")) {
        targets.custom = *custom;
    }
    return Finish(file, fields, std::move(targets));
}

std::string ShowTime(ReleaseTime time) {
    return FormatTime(time, " ", " UTC");
}

std::string MetadataTime(ReleaseTime time) {
    return FormatTime(time, "T", "Z");
}

} // namespace delivery
