// Looks at the package of one item.
#pragma once

#include "site/check/SectionCheck.h"
#include "site/check/SiteSource.h"

namespace lumsite {

// Fetches the package and holds it against the item: presence, hash, sizes and what it would unpack. Items whose line
// is too short or whose URL is unusable are passed over (false): their line has a finding already.
bool ExaminePackage(SiteSource &source, const SectionItem &item, base::Findings &findings);

} // namespace lumsite
