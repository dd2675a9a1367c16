// Findings about a site as the person at the terminal reads them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/Finding.h"

namespace lumsite {

// "error: lummac.ini:4: what\n    remedy\n".
std::string ToText(const base::Finding &finding);

// "1 error", "2 errors".
std::string CountText(std::size_t count, std::string_view noun);

} // namespace lumsite
