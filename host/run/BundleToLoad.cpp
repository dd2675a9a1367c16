#include "host/run/BundleToLoad.h"

#include "host/run/Extension.h"
#include "host/frontend/Complain.h"
#include "base/Text.h"

namespace lumhost {

std::filesystem::path BundleToLoad(const std::filesystem::path &given, const Folders &folders) {
    if (!given.empty()) {
        return given;
    }
    const std::filesystem::path own = OwnPart("lumext.bundle");
    const std::filesystem::path copy = folders.installed / "lumext.bundle";
    std::string error;
    if (own.empty() || RefreshCopy(own, copy, error)) {
        return copy;
    }
    Complain("the extension could not be copied (" + base::OneLine(error) + "); it is used where it is");
    return own;
}

} // namespace lumhost
