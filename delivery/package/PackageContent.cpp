#include "delivery/package/PackageContent.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "base/ScopedDescriptor.h"
#include "base/StagingFolder.h"
#include "delivery/package/Unpacking.h"
#include "delivery/package/UnpackFailure.h"

namespace delivery {

namespace {

constexpr char kPrefix[] = ".package-content.";

PackageContent UnpackAside(const std::filesystem::path &package, const std::filesystem::path &folder,
                           const UnpackLimits &limits) {
    const base::ScopedDescriptor file = OpenPackage(package);
    base::CleanStaging(folder, kPrefix);
    const base::StagingFolder staging(folder, kPrefix);
    if (staging.error() != 0) {
        throw WriteFailure(staging.error(), folder.string());
    }
    const std::filesystem::path inner = staging.path() / "new";
    if (mkdir(inner.c_str(), 0700) != 0) {
        throw WriteFailure(errno, folder.string());
    }
    const base::ScopedDescriptor place(open(inner.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!place) {
        throw WriteFailure(errno, folder.string());
    }
    Unpacked unpacked = Unpack({file.get(), place.get(), {}, limits});
    return {std::move(unpacked.component), unpacked.bytes};
}

} // namespace

base::Result<PackageContent> ReadPackageContent(const std::filesystem::path &package,
                                                const std::filesystem::path &folder, const UnpackLimits &limits) {
    return CatchFailures([&] { return UnpackAside(package, folder, limits); });
}

} // namespace delivery
