// A signed release in memory, for the tests and the fuzzers of its client: published, rotated and forged at will.
//
// At first there is version 1 of everything: root keys 0, 1 and 2, of which two have to sign; timestamp key 3, snapshot
// key 4, targets key 5; consistent snapshots; and the target "lummac.ini".
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "delivery/release/ReleaseFetcher.h"

#include <json/value.h>

// An ed25519 key that is always the same for a number.
class TestKey {
public:
    explicit TestKey(unsigned number) : m_number(number) {}
    Json::Value Public() const;
    std::string Id() const;
    std::string Sign(std::string_view message) const; // hexadecimal

private:
    unsigned m_number;
};

// The file with these contents and the signatures of these keys.
std::string SignedText(const Json::Value &content, const std::vector<unsigned> &keys);

class TestRelease : public delivery::ReleaseFetcher {
public:
    TestRelease();

    // What the next signature of a role is over, and by which keys.
    std::map<std::string, Json::Value> content;
    std::map<std::string, std::vector<unsigned>> signers;
    // What is served, by name, and what was asked for.
    std::map<std::string, std::string> files;
    std::vector<std::string> requests;

    // Names the role's keys in the root, and signs with them from then on.
    void SetKeys(const std::string &role, const std::vector<unsigned> &keys, unsigned threshold = 1);
    // Delegates paths (patterns) to a role of that key.
    void Delegate(const std::string &delegator, const std::string &role, unsigned key,
                  const std::vector<std::string> &paths, bool terminating = false);
    void AddTarget(const std::string &role, const std::string &path, const std::string &bytes);

    // Serves the role as it is now: "VERSION.ROLE.json", and the timestamp and a release without consistent snapshots
    // without version.
    void Serve(const std::string &role);
    // Serves a new version of the targets roles (with what the snapshot says of them), snapshot and timestamp.
    void Publish();
    // The same from the snapshot or the timestamp on.
    void PublishSnapshot();
    void PublishTimestamp();
    void PublishRoot();

    const std::string &Served(const std::string &role) const;

    base::Result<std::string> Fetch(const std::string &name, std::uint64_t maxLength, std::string_view saved) override;

private:
    std::string NameOf(const std::string &role) const;
    void Bump(const std::string &role);
};
