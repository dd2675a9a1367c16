// Making the root of a signed release, which says whose signatures count, and replacing it.
//
// A new root needs the signatures of enough keys of the old root and of its own. Those whose holders are elsewhere are
// collected: the root waits in "next.root.json" until SignRoot, run where the missing keys are, has completed it. Only
// then has it a version that publish looks at.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/Result.h"
#include "delivery/release/Metadata.h"
#include "site/release/SigningKey.h"

namespace lumsite {

struct NewReleaseOptions {
    std::size_t rootKeys = 3;
    std::size_t rootThreshold = 2;
    SigningKeyType type = SigningKeyType::Ed25519;
};

// Fills `folder` (new or empty) with keys and the first root. Nothing is overwritten.
base::Result<void> MakeReleaseKeys(const std::filesystem::path &folder, const NewReleaseOptions &options,
                                   delivery::ReleaseTime now);

struct Rotation {
    std::set<delivery::MetadataType> roles = {}; // whose keys are replaced; none: the root is only signed again
    std::set<std::string> only = {};             // names of keys: of these roles, only these are replaced
    std::optional<std::size_t> newKeys = {};     // of each role; nothing: as many as are replaced
    std::optional<std::size_t> threshold = {};   // of each role; nothing: as before
    SigningKeyType type = SigningKeyType::Ed25519;
    // A key whose private half is elsewhere, in place of one that is made: a PEM file, and what signs with it.
    std::filesystem::path publicKey = {};
    std::vector<std::string> command = {};
};

struct CeremonyResult {
    std::uint64_t version = 0;
    bool isComplete = false;
    std::vector<std::string> content; // what the root says, a line for its expiry and each role
    std::vector<std::string> made;    // names of new keys
    std::vector<std::string> retired; // names of keys that the root no longer lists
    std::vector<std::string> missing; // why keys did not sign: "root-2: cannot read ..."
    std::string lacking;              // what is not enough yet; empty when complete
};

// Makes the root after the newest one, and signs it with the keys at hand. Refuses while another one is waiting.
base::Result<CeremonyResult> RotateKeys(const std::filesystem::path &folder, const Rotation &rotation,
                                        delivery::ReleaseTime now);

// Adds the signatures of the keys at hand to the root that is waiting.
base::Result<CeremonyResult> SignRoot(const std::filesystem::path &folder);

} // namespace lumsite
