#pragma once

#include <string_view>

namespace delivery {

// The page up to the first tag that has more attributes than any real one. The parser compares each with all before it,
// so that one tag of a few megabytes would keep it busy for an hour.
std::string_view ReadablePart(std::string_view html);

} // namespace delivery
