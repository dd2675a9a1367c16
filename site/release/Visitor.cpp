#include "site/release/Visitor.h"

#include <cerrno>

#include "base/Files.h"
#include "base/Text.h"
#include "delivery/release/ReleaseFault.h"
#include "delivery/release/ReleaseLayout.h"

namespace fs = std::filesystem;

namespace lumsite {

using base::Fail;
using base::Result;
using delivery::ReleaseFault;

FolderRelease::FolderRelease(const fs::path &site, std::map<std::string, std::string> files)
    : m_folder(site / delivery::kReleaseFolder), m_files(std::move(files)) {}

Result<std::string> FolderRelease::Fetch(const std::string &name, std::uint64_t maxLength, std::string_view) {
    if (const auto found = m_files.find(name); found != m_files.end()) {
        return found->second;
    }
    const std::string decoded = base::PercentDecode(name).value_or(name); // as a server does
    Result<std::string> bytes = decoded.find('/') == std::string::npos ? base::ReadWhole(m_folder / decoded, maxLength)
                                                                       : Fail(decoded + " is not a name", ENOENT);
    if (!bytes) {
        const int number = bytes.error().code;
        return delivery::Refuse(number == ENOENT  ? ReleaseFault::NotFound
                                : number == EFBIG ? ReleaseFault::TooLong
                                                  : ReleaseFault::Unreachable,
                                bytes.error().text);
    }
    return bytes;
}

Result<Visitor> Visitor::Fresh(fs::path folder, std::string_view root) {
    if (const Result<void> pinned = delivery::ReleaseClient::Pin(folder, root); !pinned) {
        return Fail(pinned.error());
    }
    return Visitor(std::move(folder));
}

Result<std::vector<delivery::ReleaseTarget>> Visitor::Start(delivery::ReleaseFetcher &release,
                                                            const std::vector<std::string> &targets,
                                                            delivery::ReleaseTime now) const {
    delivery::ReleaseClient client(m_folder, release);
    if (const Result<void> fresh = client.Refresh(now); !fresh) {
        return Fail(fresh.error());
    }
    std::vector<delivery::ReleaseTarget> found;
    for (const std::string &path : targets) {
        Result<delivery::ReleaseTarget> target = client.Find(path);
        if (!target) {
            return Fail(target.error());
        }
        found.push_back(std::move(*target));
    }
    return found;
}

} // namespace lumsite
