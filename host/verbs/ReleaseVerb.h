// Signed releases on the command line: `allow SITE --root FILE`, and what `allowed` and `forbid` have to do with them.
#pragma once

#include <string>
#include <vector>

#include "base/Result.h"
#include "host/Folders.h"
#include "host/release/Pins.h"
#include "host/verbs/CommandLine.h"

namespace lumhost {

Pins PinsOf(const Folders &folders);

// Pins the site to the root that the command line names, if it does, and says what that means.
base::Result<void> PinSite(const CommandLine &line, const std::string &site, const Folders &folders);
// Forgets the site's pin, and says when the administrator's stays.
base::Result<void> UnpinSite(const std::string &site, const Folders &folders);

// Takes the pin of the site out of the list: what is shown of it below the site. Empty when it has none.
std::string TakePinText(const std::string &site, std::vector<Pin> &pins);

} // namespace lumhost
