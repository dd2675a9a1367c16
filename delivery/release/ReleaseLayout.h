// Where the files of a signed release are, below the address or the folder of its site. Any thread.
#pragma once

#include <cstdint>
#include <string>

namespace delivery {

constexpr char kReleaseFolder[] = "release/";                // the metadata
constexpr char kReleaseTargetsFolder[] = "release/targets/"; // the targets, unless the release names mirrors

// "DIR/HASH.NAME" for the target "DIR/NAME" (TUF 1.0.34, 5.7.3).
std::string HashedPath(const std::string &target, const std::string &hash);

// "ROLE.json" as it is served: percent-encoded, and behind "VERSION." when there is one (TUF 1.0.34, 6.2).
std::string MetadataFileName(const std::string &role, std::uint64_t version = 0);

} // namespace delivery
