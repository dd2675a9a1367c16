#include "host/verbs/ReleaseVerb.h"

#include <algorithm>
#include <cstdio>

#include "base/Files.h"
#include "delivery/release/ReleaseClient.h"
#include "host/release/ReleaseState.h"

namespace lumhost {

Pins PinsOf(const Folders &folders) {
    return {folders.Releases(), folders.AdministratorsRoots()};
}

base::Result<void> PinSite(const CommandLine &line, const std::string &site, const Folders &folders) {
    const bool replace = !line.newRoot.empty();
    const std::filesystem::path &file = replace ? line.newRoot : line.root;
    if (file.empty()) {
        return {};
    }
    const base::Result<std::string> root = base::ReadWhole(file, delivery::ReleaseLimits().root);
    if (!root) {
        return base::Fail(root.error());
    }
    const base::Result<Pin> pin = PinsOf(folders).Add(site, *root, replace);
    if (!pin) {
        return base::Fail(file.string() + " is not accepted: " + pin.error().text);
    }
    std::printf("%s: only releases that this root leads to are accepted from now on.\n%s", site.c_str(),
                PinText(*pin).c_str());
    if (replace) {
        std::puts("  What was known of its earlier releases is forgotten, so the next start cannot tell an old release "
                  "from a new one.\n  Compare the SHA-256 with the one that the operator names by another way than the "
                  "site.");
    }
    return {};
}

base::Result<void> UnpinSite(const std::string &site, const Folders &folders) {
    const Pins pins = PinsOf(folders);
    std::error_code error;
    if (std::filesystem::exists(pins.AdministratorsFile(site), error)) {
        std::printf("%s: its root stays, because the administrator has set it (%s)\n", site.c_str(),
                    pins.AdministratorsFile(site).c_str());
    } else if (const base::Result<std::optional<Pin>> pin = pins.Find(site); pin && *pin) {
        std::printf("%s: its root and its releases are forgotten; if it is allowed again, its files need not be signed "
                    "until it is pinned again\n",
                    site.c_str());
    }
    return pins.Forget(site);
}

std::string TakePinText(const std::string &site, std::vector<Pin> &pins) {
    const auto pin = std::find_if(pins.begin(), pins.end(), [&](const Pin &each) { return each.site == site; });
    if (pin == pins.end()) {
        return "";
    }
    const std::string text = PinText(*pin);
    pins.erase(pin);
    return text;
}

} // namespace lumhost
