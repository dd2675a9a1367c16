#include "base/Result.h"

#include <system_error>

namespace base {

tl::unexpected<Error> SystemFailure(const std::string &what, int number) {
    return Fail(what + ": " + std::generic_category().message(number), number);
}

} // namespace base
