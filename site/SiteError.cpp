#include "site/SiteError.h"

#include <cerrno>
#include <system_error>

namespace lumsite {

void ThrowSystemError(const std::string &doing, const std::string &path) {
    throw SiteError(doing + " " + path + ": " + std::generic_category().message(errno));
}

} // namespace lumsite
