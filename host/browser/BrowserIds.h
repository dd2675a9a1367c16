// The names by which the browsers know the extension and this program.
#pragma once

#include <string_view>

namespace lumhost {

inline constexpr std::string_view kNativeHostName = "example.kelvo.lumhost";
// Chromium's and Chrome's follows from the public key in the extension's manifest; Firefox's is in it.
inline constexpr std::string_view kChromiumExtension = "bmlpmeekaenhdnpibllcmgkpcojmiegl";
inline constexpr std::string_view kFirefoxExtension = "lum@kelvo.example";
inline constexpr std::string_view kChromiumScheme = "chrome-extension://";

} // namespace lumhost
