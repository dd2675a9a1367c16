// What a page can start: the extension starts only the applications of its product table, each of which belongs to a
// component that the page names.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lumsite {

struct OfferedItem {
    std::string name;
    std::string target; // of the item line: items of one target are installed side by side
};

// Why a page with these parameters would start nothing, as the end of a sentence that begins with the component, and
// what to do about it; both empty when it starts something, or is not meant to. `items` are those of the page's
// section; `parameter` returns a parameter's value, or "".
struct StartFault {
    std::string what;
    std::string remedy;
};
StartFault FaultOfStart(const std::function<std::string(const char *name)> &parameter,
                        const std::vector<OfferedItem> &items);

} // namespace lumsite
