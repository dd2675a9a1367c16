// The page that starts the extension: an HTML object of type "application/x-lum" whose parameters configure it.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace lumsite {

struct PageParameter {
    int line; // in the page, from 1
    std::string value;
};

struct PageObject {
    int line;
    std::map<std::string, PageParameter> parameters; // by name, exactly as written

    // The value, or empty when there is no such parameter.
    std::string Value(const std::string &name) const;
    bool Has(const std::string &name) const {
        return parameters.count(name) != 0;
    }
};

// A page with one object; the title and the values are escaped.
std::string WritePage(std::string_view title, const std::map<std::string, std::string> &parameters);

// The objects (and embed elements) of a page that start the extension, in order.
std::vector<PageObject> ReadPage(const std::string &html);

} // namespace lumsite
