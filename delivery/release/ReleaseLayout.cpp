#include "delivery/release/ReleaseLayout.h"

#include "base/Text.h"

namespace delivery {

std::string HashedPath(const std::string &target, const std::string &hash) {
    const std::size_t slash = target.rfind('/');
    std::string path = target;
    return path.insert(slash == std::string::npos ? 0 : slash + 1, hash + ".");
}

std::string MetadataFileName(const std::string &role, std::uint64_t version) {
    return (version == 0 ? "" : std::to_string(version) + ".") + base::PercentEncode(role) + ".json";
}

} // namespace delivery
