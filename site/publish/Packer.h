// Packages: archives that hold one top-level entry, the component.
//
// The same component gives the same bytes, whoever packs it, when and where: entries are sorted, times and owners are
// fixed, and of the permissions only "may be executed" is kept.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "base/Result.h"

namespace lumsite {

struct PackOptions {
    std::string format = "tar.gz"; // one of PackageFormats()
    // Symbolic links are written as small plain files that hold their target, as an unpacker without links would leave
    // them. The launcher makes links of those that a framework needs.
    bool linksAsFiles = false;
};

struct PackResult {
    std::uint64_t unpackedSize = 0; // bytes of all files
    std::vector<std::string> warnings;
};

const std::vector<std::string> &PackageFormats();

// Writes the component (a folder or a file) as a package to `package`, an existing or new file. Fails for a component
// that the container would refuse: a link that leads outside, a device, a name that is not UTF-8.
base::Result<PackResult> Pack(const std::filesystem::path &component, const std::filesystem::path &package,
                              const PackOptions &options);

} // namespace lumsite
