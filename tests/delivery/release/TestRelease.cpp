#include "tests/delivery/release/TestRelease.h"

#include <json/writer.h>
#include <openssl/evp.h>

#include <memory>

#include "base/Digest.h"
#include "base/Text.h"
#include "delivery/release/ReleaseFault.h"
#include "delivery/release/StrictJson.h"

namespace {

struct MadeKey {
    std::shared_ptr<EVP_PKEY> key;
    Json::Value described;
    std::string id;
};

MadeKey Make(unsigned number) {
    const std::string seed(32, static_cast<char>(number + 1));
    MadeKey made;
    made.key = {EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr,
                                             reinterpret_cast<const unsigned char *>(seed.data()), seed.size()),
                EVP_PKEY_free};
    std::string bytes(32, '\0');
    std::size_t size = bytes.size();
    EVP_PKEY_get_raw_public_key(made.key.get(), reinterpret_cast<unsigned char *>(bytes.data()), &size);
    made.described["keytype"] = "ed25519";
    made.described["scheme"] = "ed25519";
    made.described["keyval"]["public"] = base::ToHex(bytes);
    made.id = base::DigestOfText(delivery::CanonicalJson(made.described));
    return made;
}

const MadeKey &Made(unsigned number) {
    static std::map<unsigned, MadeKey> keys;
    auto key = keys.find(number);
    if (key == keys.end()) {
        key = keys.emplace(number, Make(number)).first;
    }
    return key->second;
}

bool IsTopLevel(const std::string &role) {
    return role == "root" || role == "timestamp" || role == "snapshot" || role == "targets";
}

Json::Value Head(const std::string &type) {
    Json::Value head;
    head["_type"] = type;
    head["spec_version"] = "1.0.34";
    head["version"] = 1;
    head["expires"] = "2030-01-01T00:00:00Z";
    return head;
}

Json::Value RoleOf(const std::vector<unsigned> &keys, unsigned threshold) {
    Json::Value role;
    role["keyids"] = Json::arrayValue;
    for (const unsigned key : keys) {
        role["keyids"].append(TestKey(key).Id());
    }
    role["threshold"] = threshold;
    return role;
}

} // namespace

Json::Value TestKey::Public() const {
    return Made(m_number).described;
}

std::string TestKey::Id() const {
    return Made(m_number).id;
}

std::string TestKey::Sign(std::string_view message) const {
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX *)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    std::string signature(64, '\0');
    std::size_t size = signature.size();
    EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, Made(m_number).key.get());
    EVP_DigestSign(context.get(), reinterpret_cast<unsigned char *>(signature.data()), &size,
                   reinterpret_cast<const unsigned char *>(message.data()), message.size());
    return base::ToHex(signature);
}

std::string SignedText(const Json::Value &content, const std::vector<unsigned> &keys) {
    Json::Value file;
    file["signed"] = content;
    file["signatures"] = Json::arrayValue;
    for (const unsigned number : keys) {
        const TestKey key(number);
        Json::Value signature;
        signature["keyid"] = key.Id();
        signature["sig"] = key.Sign(delivery::CanonicalJson(content));
        file["signatures"].append(signature);
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, file);
}

TestRelease::TestRelease() {
    content["root"] = Head("root");
    content["root"]["consistent_snapshot"] = true;
    SetKeys("root", {0, 1, 2}, 2);
    SetKeys("timestamp", {3});
    SetKeys("snapshot", {4});
    SetKeys("targets", {5});
    for (const char *role : {"timestamp", "snapshot", "targets"}) {
        content[role] = Head(role);
    }
    content["timestamp"]["meta"]["snapshot.json"]["version"] = 1;
    content["snapshot"]["meta"]["targets.json"]["version"] = 1;
    content["targets"]["targets"] = Json::objectValue;
    AddTarget("targets", "lummac.ini", "the instruction file");
    for (const char *role : {"root", "targets", "snapshot", "timestamp"}) {
        Serve(role);
    }
}

void TestRelease::SetKeys(const std::string &role, const std::vector<unsigned> &keys, unsigned threshold) {
    signers[role] = keys;
    content["root"]["roles"][role] = RoleOf(keys, threshold);
    for (const unsigned key : keys) {
        content["root"]["keys"][TestKey(key).Id()] = TestKey(key).Public();
    }
}

void TestRelease::Delegate(const std::string &delegator, const std::string &role, unsigned key,
                           const std::vector<std::string> &paths, bool terminating) {
    Json::Value entry = RoleOf({key}, 1);
    entry["name"] = role;
    entry["terminating"] = terminating;
    entry["paths"] = Json::arrayValue;
    for (const std::string &path : paths) {
        entry["paths"].append(path);
    }
    Json::Value &delegations = content[delegator]["delegations"];
    delegations["keys"][TestKey(key).Id()] = TestKey(key).Public();
    delegations["roles"].append(entry);
    if (!content.count(role)) {
        content[role] = Head("targets");
        content[role]["targets"] = Json::objectValue;
        content["snapshot"]["meta"][role + ".json"]["version"] = 0; // Publish makes it the next
        content[role]["version"] = 0;
    }
    signers[role].push_back(key);
}

void TestRelease::AddTarget(const std::string &role, const std::string &path, const std::string &bytes) {
    Json::Value target;
    target["length"] = Json::UInt64(bytes.size());
    target["hashes"]["sha256"] = base::DigestOfText(bytes);
    content[role]["targets"][path] = target;
}

std::string TestRelease::NameOf(const std::string &role) const {
    const std::string name = base::PercentEncode(role) + ".json";
    const bool versioned =
        role == "root" || (role != "timestamp" && content.at("root")["consistent_snapshot"].asBool());
    return versioned ? content.at(role)["version"].asString() + "." + name : name;
}

const std::string &TestRelease::Served(const std::string &role) const {
    return files.at(NameOf(role));
}

void TestRelease::Serve(const std::string &role) {
    files[NameOf(role)] = SignedText(content[role], signers[role]);
}

void TestRelease::Bump(const std::string &role) {
    content[role]["version"] = content[role]["version"].asInt64() + 1;
    Serve(role);
}

void TestRelease::Publish() {
    for (auto &[role, signedContent] : content) {
        if (role == "targets" || !IsTopLevel(role)) {
            Bump(role);
            content["snapshot"]["meta"][role + ".json"]["version"] = signedContent["version"];
        }
    }
    PublishSnapshot();
}

void TestRelease::PublishSnapshot() {
    Bump("snapshot");
    content["timestamp"]["meta"]["snapshot.json"]["version"] = content["snapshot"]["version"];
    PublishTimestamp();
}

void TestRelease::PublishTimestamp() {
    Bump("timestamp");
}

void TestRelease::PublishRoot() {
    Bump("root");
}

base::Result<std::string> TestRelease::Fetch(const std::string &name, std::uint64_t maxLength, std::string_view) {
    requests.push_back(name);
    const auto file = files.find(name);
    if (file == files.end()) {
        return delivery::Refuse(delivery::ReleaseFault::NotFound, name + " is not there");
    }
    if (file->second.size() > maxLength) {
        return delivery::Refuse(delivery::ReleaseFault::TooLong,
                                name + " is longer than " + std::to_string(maxLength) + " bytes");
    }
    return file->second;
}
