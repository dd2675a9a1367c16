// What the extension makes of a page's "lumcertification".
#pragma once

#include <string>
#include <vector>

#include "base/Finding.h"
#include "site/keys/Certificates.h"

namespace lumsite {

// Findings about the text, its certificates, their chain, name and dates; `where` becomes the place of each.
// `trusted` are roots that visitors trust besides the system's. `soonDays`: an expiry nearer than that is a warning.
base::Findings ExamineCertification(const std::string &certification, const std::string &where,
                                    const std::vector<Certificate> &trusted, int soonDays);

} // namespace lumsite
