#include "delivery/release/FileCheck.h"

#include <algorithm>

#include "base/Text.h"
#include "delivery/release/ReleaseFault.h"

namespace delivery {

namespace {

struct Algorithm {
    const char *name;
    base::DigestMethod method;
    std::size_t digits;
};
constexpr Algorithm kAlgorithms[] = {{"sha256", base::DigestMethod::Sha256, 64},
                                     {"sha512", base::DigestMethod::Sha512, 128}};

const Algorithm *Find(std::string_view name) {
    const auto *found = std::find_if(std::begin(kAlgorithms), std::end(kAlgorithms),
                                     [&](const Algorithm &a) { return a.name == name; });
    return found == std::end(kAlgorithms) ? nullptr : found;
}

constexpr char kPublishAgain[] = "; the site has to publish its release again";

} // namespace

std::optional<bool> IsHash(const std::string &algorithm, const std::string &hex) {
    const Algorithm *known = Find(algorithm);
    return known ? std::optional(hex.size() == known->digits && base::FromHex(hex) && base::Lower(hex) == hex)
                 : std::nullopt;
}

FileCheck::FileCheck(std::string name, const FileFacts &facts)
    : m_name(std::move(name)), m_length(facts.length), m_hasHashes(!facts.hashes.empty()) {
    for (const auto &[algorithm, expected] : facts.hashes) {
        if (const Algorithm *known = Find(algorithm)) {
            m_digests.push_back({algorithm, expected, base::Digest(known->method)});
        }
    }
}

base::Result<void> FileCheck::TooLong() const {
    return Refuse(ReleaseFault::TooLong, m_name + " is longer than the " + std::to_string(*m_length) +
                                             " bytes that the release lists" + kPublishAgain);
}

base::Result<void> FileCheck::WrongLength(std::uint64_t length) const {
    return Refuse(ReleaseFault::Mismatch, m_name + " has " + std::to_string(length) + " bytes, but the release lists " +
                                              std::to_string(*m_length) + kPublishAgain);
}

base::Result<void> FileCheck::Announce(std::uint64_t length) const {
    if (!m_length || length == *m_length) {
        return {};
    }
    return length > *m_length ? TooLong() : WrongLength(length);
}

base::Result<void> FileCheck::Add(std::string_view bytes) {
    m_seen += bytes.size();
    if (m_length && m_seen > *m_length) {
        return TooLong();
    }
    for (Running &running : m_digests) {
        running.digest.Add(bytes);
    }
    return {};
}

base::Result<void> FileCheck::Finish() {
    if (m_length && m_seen != *m_length) {
        return WrongLength(m_seen);
    }
    if (m_hasHashes && m_digests.empty()) {
        return Refuse(ReleaseFault::Mismatch, "the release lists no hash of " + m_name +
                                                  " that this program knows (sha256, sha512); update the program");
    }
    for (Running &running : m_digests) {
        if (running.digest.Hex() != running.expected) {
            return Refuse(ReleaseFault::Mismatch, m_name + " is not the file of the release: its " + running.algorithm +
                                                      " hash differs" + kPublishAgain);
        }
    }
    return {};
}

base::Result<void> CheckFile(const std::string &name, const FileFacts &facts, std::string_view bytes) {
    FileCheck check(name, facts);
    if (base::Result<void> added = check.Add(bytes); !added) {
        return added;
    }
    return check.Finish();
}

} // namespace delivery
