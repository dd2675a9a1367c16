// The metadata of a release as text: built, signed, written. Any thread.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "base/Result.h"
#include "delivery/release/Metadata.h"

namespace lumsite {

class ReleaseKeys;

std::string JsonText(const Json::Value &value, const std::string &indentation = "");

// What every kind of metadata has.
Json::Value MetadataContent(delivery::MetadataType type, std::uint64_t version, delivery::ReleaseTime expires);

// A metadata file, without signatures at first.
class MetadataText {
public:
    explicit MetadataText(Json::Value content);
    // Of a file that has some already.
    static base::Result<MetadataText> Read(const std::string &text);

    // Adds the signatures of those of `keyIds` that have not signed yet and are at hand. The others are appended to
    // `missing`, each as "NAME (why)".
    void Sign(const ReleaseKeys &keys, const std::vector<std::string> &keyIds, std::vector<std::string> &missing);

    const Json::Value &content() const {
        return m_file["signed"];
    }
    std::string Text() const {
        return JsonText(m_file);
    }

private:
    MetadataText() = default;
    bool HasSigned(const std::string &keyId) const;

    Json::Value m_file;
};

} // namespace lumsite
