// The length and the hashes that a release lists for a file, and the check of the file while it arrives.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Digest.h"
#include "base/Result.h"

namespace delivery {

// By the name of the algorithm; lower-case hexadecimal for the known ones ("sha256", "sha512").
using FileHashes = std::map<std::string, std::string>;

struct FileFacts {
    std::optional<std::uint64_t> length; // in bytes
    FileHashes hashes;                   // may be empty: then none are checked
};

// Whether `hex` is what a digest of that algorithm looks like; nothing for an unknown algorithm.
std::optional<bool> IsHash(const std::string &algorithm, const std::string &hex);

// Fed piece by piece. Every hash of a known algorithm must match; hashes of unknown algorithms alone are a mismatch.
class FileCheck {
public:
    // `name` is for the texts of the errors. `facts` may go away after the call.
    FileCheck(std::string name, const FileFacts &facts);

    // What the sender says that the length is. Fails when it is another one (TooLong, Mismatch).
    base::Result<void> Announce(std::uint64_t length) const;
    // Fails with the first byte that is too many (ReleaseFault::TooLong).
    base::Result<void> Add(std::string_view bytes);
    // Once, after the last byte. Fails with ReleaseFault::Mismatch.
    base::Result<void> Finish();

private:
    base::Result<void> TooLong() const;
    base::Result<void> WrongLength(std::uint64_t length) const;

    struct Running {
        std::string algorithm;
        std::string expected;
        base::Digest digest;
    };

    std::string m_name;
    std::optional<std::uint64_t> m_length;
    std::uint64_t m_seen = 0;
    bool m_hasHashes;
    std::vector<Running> m_digests;
};

base::Result<void> CheckFile(const std::string &name, const FileFacts &facts, std::string_view bytes);

} // namespace delivery
