// The objects of a page that start the extension: <object type="application/x-lum"> with its <param>s, and <embed> of
// that type with its attributes. Whatever else is in the page is passed over, however broken.
//
// A page may come from anywhere: it may be of any size, is never kept in memory as a tree, and costs time in proportion
// to its size. It is UTF-8 when it can be, otherwise in the encoding that it names, otherwise Latin 1. It is not read
// further than to a place that no honest page has: a thousand open elements, or a thousand attributes of one tag.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace delivery {

inline constexpr std::string_view kObjectType = "application/x-lum";

struct PageParameter {
    std::string name; // as written in a <param>; in lower case when it is an attribute of an <embed>
    std::string value;
    int line = 0; // where its tag ends, from 1
};

struct PageObject {
    int line = 0; // where its tag ends, from 1
    bool isEmbed = false;
    std::vector<PageParameter> parameters; // in the page's order

    // The first parameter of exactly that name, or null. The attributes of an embed are compared without regard to
    // case, because HTML's attribute names have none.
    const PageParameter *Find(std::string_view name) const;
    // Its value; empty when there is no such parameter.
    std::string Value(std::string_view name) const;
};

// The objects in the order of the page, at most `most` of them. An object in which the page ends counts. Objects and
// embeds within an object of the type are not read: they are there for programs that cannot show that one.
std::vector<PageObject> ReadObjects(std::string_view page, std::size_t most = std::numeric_limits<std::size_t>::max());

} // namespace delivery
