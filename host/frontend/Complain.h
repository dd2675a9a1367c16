#pragma once

#include <cstdio>
#include <string>

namespace lumhost {

// A line on standard error.
inline void Complain(const std::string &text) {
    std::fprintf(stderr, "lumhost: %s\n", text.c_str());
}

} // namespace lumhost
