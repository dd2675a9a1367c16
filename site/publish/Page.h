// Writes the page that starts the extension.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace lumsite {

// A page with one object (delivery/page/PageObjects.h) with these parameters; the title and the values are escaped.
std::string WritePage(std::string_view title, const std::map<std::string, std::string> &parameters);

} // namespace lumsite
