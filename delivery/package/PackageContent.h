// What is in a package, found out by unpacking it: whatever is refused at an installation is refused here, in the same
// words and with the same code.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "base/Result.h"
#include "delivery/package/UnpackCode.h"
#include "delivery/package/UnpackLimits.h"

namespace delivery {

struct PackageContent {
    std::string component;          // the name of the one top-level entry
    std::uint64_t unpackedSize = 0; // bytes of all files
};

// Unpacks, in this process, into a hidden folder of `folder`, which is removed again; there must be room for it. The
// Error's code is an UnpackCode: kUnpackNoSpace and above are about this computer, the others about the package.
base::Result<PackageContent> ReadPackageContent(const std::filesystem::path &package,
                                                const std::filesystem::path &folder, const UnpackLimits &limits = {});

} // namespace delivery
