#include "delivery/page/Page.h"

#include <algorithm>

#include "base/Ascii.h"
#include "delivery/page/PageObjects.h"

namespace delivery {

bool Page::ReadObject(std::string_view page) {
    m_parameters.clear();
    std::vector<PageObject> objects = ReadObjects(page, 1);
    if (objects.empty()) {
        return false;
    }
    for (PageParameter &parameter : objects[0].parameters) {
        m_parameters.emplace_back(std::move(parameter.name), std::move(parameter.value));
    }
    return true;
}

const std::string *Page::Find(std::string_view name) const {
    for (const auto &[own, value] : m_parameters) {
        if (own == name) {
            return &value;
        }
    }
    for (const auto &[own, value] : m_parameters) {
        if (base::EqualsIgnoringCase(own, name)) {
            return &value;
        }
    }
    return nullptr;
}

void Page::Set(const std::string &name, const std::string &value) {
    std::erase_if(m_parameters, [&](const auto &parameter) { return base::EqualsIgnoringCase(parameter.first, name); });
    m_parameters.emplace_back(name, value);
}

std::optional<base::Url> Page::Resolve(std::string_view reference) const {
    return m_address ? m_address->Resolve(reference) : base::Url::Parse(reference);
}

std::vector<std::string> Page::Sites() const {
    std::vector<std::string> sites;
    if (m_address) {
        sites.push_back(m_address->Origin());
    }
    const std::string *root = Find("LumUrlRoot");
    if (const std::optional<base::Url> url = root ? Resolve(*root) : std::nullopt) {
        sites.push_back(url->Origin());
    }
    std::sort(sites.begin(), sites.end());
    sites.erase(std::unique(sites.begin(), sites.end()), sites.end());
    return sites;
}

} // namespace delivery
