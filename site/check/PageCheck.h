// What the extension makes of a page's parameters, other than the certificate.
#pragma once

#include <string>

#include "delivery/page/PageObjects.h"
#include "site/SiteError.h"

namespace lumsite {

// `title` is the page's name for messages; `address` the URL root at which the site is looked at, or empty in a folder.
Findings ExamineParameters(const delivery::PageObject &object, const std::string &title, const std::string &address);

} // namespace lumsite
