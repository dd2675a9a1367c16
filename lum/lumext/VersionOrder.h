// Versions of four numbers, "1,0,5,0", and their order.
#pragma once

#include <array>
#include <optional>
#include <string>

using VersionParts = std::array<unsigned int, 4>;

// The four parts of `version`; none when it has not exactly four. A part is read up to its first non-digit, so that an
// empty one is 0; one that is too large counts as the largest.
std::optional<VersionParts> ParseVersion(const std::string &version);

// Traces both versions with the name of the operation that compares them in front.
void TraceVersions(const char *operation, const VersionParts &oldVersion, const VersionParts &newVersion);
