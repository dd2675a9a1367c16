// What the extension makes of a page's parameters, other than the certificate.
#pragma once

#include <string>

#include "base/Finding.h"
#include "delivery/page/PageObjects.h"

namespace lumsite {

// `title` is the page's name for messages; `address` the URL root at which the site is checked, or empty in a folder.
base::Findings ExamineParameters(const delivery::PageObject &object, const std::string &title,
                                 const std::string &address);

} // namespace lumsite
