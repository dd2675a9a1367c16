// What the fuzzers of a release's metadata share. Their input is what a file says, without its signatures: these are
// put to it here, so that the fuzzer gets past them. The input is also read as a whole file as it is.
#pragma once

#include <optional>

#include "delivery/release/StrictJson.h"
#include "delivery/release/TrustedRelease.h"
#include "fuzz/Check.h"
#include "tests/delivery/release/TestRelease.h"

constexpr delivery::ReleaseTime kReleaseNow = std::chrono::sys_days(std::chrono::year(2026) / 6 / 1);

inline const TestRelease &GoodRelease() {
    static const TestRelease release = [] {
        TestRelease made;
        made.Delegate("targets", "team", 6, {"team/*"});
        made.Publish();
        return made;
    }();
    return release;
}

// Trusts the good release up to before `type`, of which it has an older one saved.
inline delivery::TrustedRelease MakeTrustedBefore(delivery::MetadataType type) {
    const TestRelease &good = GoodRelease();
    delivery::TrustedRelease trusted(kReleaseNow);
    Require(trusted.StartFrom(good.Served("root")).has_value(), "the good root is accepted");
    if (type == delivery::MetadataType::Root) {
        return trusted;
    }
    if (type == delivery::MetadataType::Timestamp) {
        trusted.RecallTimestamp(good.Served("timestamp"));
        return trusted;
    }
    Require(trusted.TakeTimestamp(good.Served("timestamp")).has_value(), "the good timestamp is accepted");
    if (type == delivery::MetadataType::Snapshot) {
        trusted.RecallSnapshot(good.files.at("1.snapshot.json")); // there is none of that version in the timestamp
        return trusted;
    }
    Require(trusted.TakeSnapshot(good.Served("snapshot")).has_value(), "the good snapshot is accepted");
    return trusted;
}

template <delivery::MetadataType kType> delivery::TrustedRelease TrustedBefore() {
    static const delivery::TrustedRelease trusted = MakeTrustedBefore(kType);
    return trusted;
}

// The input as a file that these keys have signed; nothing when it is not JSON.
inline std::optional<std::string> SignedInput(std::string_view input, const std::vector<unsigned> &keys) {
    const base::Result<Json::Value> content = delivery::ReadStrictJson(input);
    return content && content->isObject() ? std::optional(SignedText(*content, keys)) : std::nullopt;
}

inline void CheckRaw(delivery::MetadataType type, std::string_view input) {
    const base::Result<delivery::SignedFile> file = delivery::ReadSigned(delivery::NameOf(type), type, input);
    if (!file) {
        Require(!file.error().text.empty(), "a refusal says why");
        return;
    }
    Require(file->head.version >= 1, "versions begin at 1");
    Require(delivery::CanonicalJson(file->content) == file->canonical, "what is signed is what was read");
}
