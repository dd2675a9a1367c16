#include "host/BundleToLoad.h"

#include "host/Extension.h"
#include "host/complain.h"
#include "host/text.h"

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
    Complain("the extension could not be copied (" + OneLine(error) + "); it is used where it is");
    return own;
}

} // namespace lumhost
