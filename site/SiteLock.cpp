#include "site/SiteLock.h"

#include <cerrno>

namespace lumsite {

base::Result<base::FileLock> LockSite(const std::filesystem::path &site) {
    return base::FileLock::Try(site / ".lumsite-lock").map_error([&](base::Error error) {
        if (error.code == EWOULDBLOCK) {
            error.text = "another lumsite is publishing to " + site.string() + "; wait until it has finished";
        }
        return error;
    });
}

} // namespace lumsite
