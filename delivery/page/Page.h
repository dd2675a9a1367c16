// A page and what it says to the extension.
//
// The parameters are those of the first object of the page, as PageObjects.h reads it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Url.h"

namespace delivery {

class Page {
public:
    Page() = default;
    // `address` is where the page came from in the end; nothing for a file.
    explicit Page(std::optional<base::Url> address) : m_address(std::move(address)) {}

    // Takes the parameters from the text of a page, replacing those that were there. False when it has no object.
    bool ReadObject(std::string_view page);

    // The value of a parameter, or null. A name is first looked for as it is, then without regard to case, because
    // HTML's attribute names have none. Of two with one name the first counts.
    const std::string *Find(std::string_view name) const;
    // Adds the parameter or replaces every one of that name (without regard to case).
    void Set(const std::string &name, const std::string &value);

    const std::vector<std::pair<std::string, std::string>> &parameters() const {
        return m_parameters;
    }
    const std::optional<base::Url> &address() const {
        return m_address;
    }

    // What an address in this page means: absolute, or relative to the page's own. Nothing when it is not http or
    // https.
    std::optional<base::Url> Resolve(std::string_view reference) const;

    // The sites that this page lets act: that from which it came, and that of its "LumUrlRoot", from which the
    // instruction file and the packages come. Sorted; empty for a file without a usable root.
    std::vector<std::string> Sites() const;

private:
    std::optional<base::Url> m_address;
    std::vector<std::pair<std::string, std::string>> m_parameters;
};

} // namespace delivery
