// The patterns by which a role is entrusted with targets (TUF 1.0.34, 4.5).
#pragma once

#include <string_view>

namespace delivery {

// "*" stands for any number of characters and "?" for one, neither for "/". Case counts. Time grows with the product
// of the two lengths at most. Any thread.
bool MatchesPattern(std::string_view path, std::string_view pattern);

} // namespace delivery
