// What the extension makes of a page's "lumcertification".
#pragma once

#include <string>
#include <vector>

#include "site/keys/Certificates.h"
#include "site/SiteError.h"

namespace lumsite {

// Findings about the text, its certificates, their chain, name and dates; `where` is taken over into each.
// `trusted` are roots that visitors trust besides the system's.
Findings ExamineCertification(const std::string &certification, const std::string &where,
                              const std::vector<Certificate> &trusted, int soonDays);

} // namespace lumsite
