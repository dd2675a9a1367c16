#include "site/release/MetadataText.h"

#include <json/writer.h>

#include <algorithm>

#include "base/Text.h"
#include "delivery/release/StrictJson.h"
#include "site/release/ReleaseKeys.h"

namespace lumsite {

namespace {

using base::Result;

constexpr const char *kFollowedVersion = "1.0.34"; // of The Update Framework

} // namespace

std::string JsonText(const Json::Value &value, const std::string &indentation) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["emitUTF8"] = true;
    builder["enableYAMLCompatibility"] = true; // "name": value
    return Json::writeString(builder, value);
}

Json::Value MetadataContent(delivery::MetadataType type, std::uint64_t version, delivery::ReleaseTime expires) {
    Json::Value content;
    content["_type"] = delivery::NameOf(type);
    content["spec_version"] = kFollowedVersion;
    content["version"] = static_cast<Json::UInt64>(version);
    content["expires"] = delivery::MetadataTime(expires);
    return content;
}

MetadataText::MetadataText(Json::Value content) {
    m_file["signed"] = std::move(content);
    m_file["signatures"] = Json::arrayValue;
}

Result<MetadataText> MetadataText::Read(const std::string &text) {
    Result<Json::Value> file = delivery::ReadStrictJson(text);
    if (!file) {
        return base::Fail(file.error());
    }
    if (!file->isObject() || !(*file)["signed"].isObject() || !(*file)["signatures"].isArray()) {
        return base::Fail("it is not signed metadata");
    }
    MetadataText read;
    read.m_file = std::move(*file);
    return read;
}

bool MetadataText::HasSigned(const std::string &keyId) const {
    return std::ranges::any_of(m_file["signatures"],
                               [&](const Json::Value &signature) { return signature["keyid"] == keyId; });
}

void MetadataText::Sign(const ReleaseKeys &keys, const std::vector<std::string> &keyIds,
                        std::vector<std::string> &missing) {
    const std::string bytes = delivery::CanonicalJson(content());
    for (const std::string &id : keyIds) {
        if (HasSigned(id)) {
            continue;
        }
        const NamedKey *key = keys.Find(id);
        const Result<std::string> signature =
            key ? keys.Sign(*key, bytes)
                : base::Fail("a key that " + keys.folder().string() +
                             " does not know; copy release.json and the new keys from "
                             "where they were made");
        if (!signature) {
            missing.push_back(signature.error().text);
            continue;
        }
        Json::Value entry;
        entry["keyid"] = id;
        entry["sig"] = base::ToHex(*signature);
        m_file["signatures"].append(entry);
    }
}

} // namespace lumsite
