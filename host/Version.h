#pragma once

namespace lumhost {

inline constexpr const char *kVersion = LUMHOST_VERSION;

} // namespace lumhost
