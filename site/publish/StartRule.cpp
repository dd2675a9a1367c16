#include "site/publish/StartRule.h"

#include <algorithm>
#include <optional>

#include "lum/common/ProductTable.h"
#include "delivery/instructions/ItemLine.h"

namespace lumsite {

using delivery::FoldCase;

namespace {

bool IsTrue(const std::string &value) {
    return FoldCase(value) == FoldCase("TRUE");
}

std::string KnownComponents() {
    std::string known;
    for (const MainApplication &application : MainApplications()) {
        known += (known.empty() ? "" : ", ") + std::string(application.componentKey);
    }
    return known;
}

} // namespace

StartFault FaultOfStart(const std::function<std::string(const char *name)> &parameter,
                        const std::vector<OfferedItem> &items) {
    if (IsTrue(parameter("LumDownloadOnly"))) {
        return {};
    }
    const std::string component = parameter("LumComponentName");
    const std::optional<MainApplication> application =
        FindMainApplication(component, [&] { return parameter("ParmSiteConfigExt_Value"); });
    if (!application) {
        return {"starts no application", "name one of " + KnownComponents() + "; or set LumDownloadOnly to TRUE"};
    }
    const std::string bundle(application->executablePath.substr(0, application->executablePath.find('/')));
    const auto main = std::ranges::find_if(
        items, [&](const OfferedItem &item) { return FoldCase(item.name) == FoldCase(component); });
    const bool isBeside = main == items.end() || std::ranges::any_of(items, [&](const OfferedItem &item) {
                              return item.name == bundle && item.target == main->target;
                          });
    if (isBeside || IsTrue(parameter("LumSuppressInstallation"))) {
        return {};
    }
    return {"starts " + bundle + ", which is not published beside it", "publish " + bundle + " with the same target"};
}

} // namespace lumsite
