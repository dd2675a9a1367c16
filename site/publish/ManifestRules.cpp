#include "site/publish/ManifestRules.h"

#include "site/publish/StartRule.h"

namespace fs = std::filesystem;

namespace lumsite {

using base::Fail;
using base::Result;

Result<void> RefuseKeysInside(const Manifest &manifest, const fs::path &site) {
    std::error_code error;
    const std::string root = fs::weakly_canonical(site, error).string() + "/";
    const auto refuse = [&](const std::string &where, const fs::path &keys) -> Result<void> {
        if ((fs::weakly_canonical(keys, error).string() + "/").starts_with(root)) {
            return Fail(where + ": the keys in " + keys.string() +
                        " are inside the published folder; move them where no visitor can download them");
        }
        return {};
    };
    Result<void> outside = manifest.release ? refuse(manifest.release->where, manifest.release->keys) : Result<void>();
    for (const ManifestSection &section : manifest.sections) {
        outside = outside.and_then([&] { return refuse(section.where, section.keys); });
    }
    return outside;
}

Result<void> RefuseIdlePages(const Manifest &manifest) {
    std::vector<OfferedItem> items;
    for (const ManifestComponent &component : manifest.components) {
        items.push_back({component.name, component.target});
    }
    for (const ManifestPage &page : manifest.pages) {
        const StartFault fault = FaultOfStart(
            [&](const std::string &name) {
                const auto found = page.parameters.find(name);
                return name == "LumComponentName"       ? page.component
                       : found == page.parameters.end() ? std::string()
                                                        : found->second;
            },
            items);
        if (!fault.what.empty()) {
            return Fail(page.where + ": " + page.component + " " + fault.what + "; " + fault.remedy);
        }
    }
    return {};
}

} // namespace lumsite
