// What the browser's extension and this program say to each other (docs/browser.md describes it for others): JSON
// texts, each after its length, four bytes in this machine's order.
//
//   browser                          lumhost
//      |  <---------------- hello ------  |
//      |  ------ start ---------------->  |
//      |  <------------ events ---------  |   until either end closes
//
// The browser sends one message only, so nothing that comes later can change what has been started.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tl/expected.hpp>

#include "base/Url.h"

namespace lumhost {

constexpr int kNativeVersion = 1;
constexpr std::uint32_t kLargestNativeMessage = 1 << 20;

// Why a message was not accepted. `reason` is for programs: one of the words in docs/browser.md.
struct NativeRefusal {
    std::string reason;
    std::string text;
};

struct NativeStart {
    base::Url page;     // http or https
    std::string origin; // the page's
    std::vector<std::pair<std::string, std::string>> parameters;
    std::vector<std::string> granted; // sites that the user has allowed, as ReadOrigin gives them
    bool isPrivate = false;           // window: what was granted is not kept
};

// The browser's only message. Every member but "private" must be there, and no other; texts are UTF-8 without NUL.
tl::expected<NativeStart, NativeRefusal> ReadNativeStart(std::string_view json);

// The message after its length.
std::string Framed(std::string_view message);

} // namespace lumhost
