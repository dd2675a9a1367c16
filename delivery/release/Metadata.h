// The metadata of a release as values (TUF 1.0.34, 4). Reading checks the form only: who signed, how old a file is and
// what other files say about it is for TrustedRelease.
//
// Every function fails with ReleaseFault::Malformed and a text that begins with the name of the file. Unknown fields
// are ignored, but count for signatures and key ids. Any thread.
#pragma once

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"
#include "delivery/release/FileCheck.h"
#include "delivery/release/ReleaseKey.h"

namespace delivery {

using ReleaseTime = std::chrono::sys_seconds;

enum class MetadataType { Root, Timestamp, Snapshot, Targets };

// "root", "timestamp", ...: the type's name in metadata, and the name of its top-level role.
const char *NameOf(MetadataType type);

// What every kind has.
struct MetadataHead {
    std::uint64_t version = 0; // from 1 to 2^63 - 1
    ReleaseTime expires;
};

// The keys that may sign for a role, and how many of them have to.
struct RoleKeys {
    std::vector<std::string> keyIds;
    std::uint64_t threshold = 1;
};

// By the id under which they are listed. A key that is listed under an id that is not its own is left out.
using KeyList = std::map<std::string, ReleaseKey>;

struct Root {
    MetadataHead head;
    bool consistentSnapshot = false;
    KeyList keys;
    std::map<std::string, RoleKeys> roles; // by the names of the four types; others are left out
};

// A metadata file as another one lists it.
struct ListedFile {
    std::uint64_t version = 0;
    FileFacts facts;
};

struct Timestamp {
    MetadataHead head;
    ListedFile snapshot;
};

struct Snapshot {
    MetadataHead head;
    std::map<std::string, ListedFile> files; // "targets.json", "role.json"
};

struct ListedTarget {
    FileFacts facts; // always with length and hashes
    Json::Value custom;
};

struct Delegation {
    std::string role;
    RoleKeys keys;
    bool terminating = false;
    std::vector<std::string> paths;        // patterns; empty when the next are used
    std::vector<std::string> hashPrefixes; // of the SHA-256 of a target's path, in lower-case hexadecimal

    // Whether the role is entrusted with the target of this path.
    bool Covers(const std::string &target) const;
};

struct Targets {
    MetadataHead head;
    std::map<std::string, ListedTarget> targets; // by path
    KeyList keys;
    std::vector<Delegation> delegations; // the first that covers a path decides
    Json::Value custom;                  // of the file itself; null when it has none
};

struct Signature {
    std::string keyId;
    std::string bytes; // empty when the text was not hexadecimal
};

// A file whose signatures have not been looked at yet.
struct SignedFile {
    std::string name; // for messages: "root.json"
    Json::Value content;
    std::string canonical; // the bytes that were signed
    std::vector<Signature> signatures;
    MetadataHead head;
};

// The outer form, and what every kind has. `role` is for messages.
base::Result<SignedFile> ReadSigned(const std::string &role, MetadataType type, std::string_view bytes);

base::Result<Root> ReadRoot(const SignedFile &file);
base::Result<Timestamp> ReadTimestamp(const SignedFile &file);
base::Result<Snapshot> ReadSnapshot(const SignedFile &file);
base::Result<Targets> ReadTargets(const SignedFile &file);

// "2026-11-21 10:00:00 UTC"
std::string ShowTime(ReleaseTime time);
// As metadata writes it: "2026-11-21T10:00:00Z". The year has four digits.
std::string MetadataTime(ReleaseTime time);

} // namespace delivery
