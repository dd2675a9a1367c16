// The extension's code: its bundle, loaded into this process for good.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "lum/lumext/lumextInterface.h"

namespace lumhost {

struct Extension {
    decltype(&LumInitInstance) initInstance = nullptr;
    decltype(&LumHandleEvent) handleEvent = nullptr;
    decltype(&LumSetWindow) setWindow = nullptr;
    decltype(&LumActionNotify) actionNotify = nullptr;
    decltype(&LumHeartbeat) heartbeat = nullptr;
    decltype(&LumExitInstance) exitInstance = nullptr;

    // Loads the bundle (a folder) and finds the six entry points; nothing, with a sentence, when one is missing or the
    // bundle cannot be loaded. Main thread.
    static std::optional<Extension> Load(const std::filesystem::path &bundle, std::string &error);
};

// Makes `copy` hold the same as `bundle`, in one step, when it does not yet: compared by names, kinds and bytes. Nobody
// sees a mixture, and a process that runs from the old copy is not disturbed. False, with a sentence, when it cannot be
// done; then the old copy is still there.
bool RefreshCopy(const std::filesystem::path &bundle, const std::filesystem::path &copy, std::string &error);

} // namespace lumhost
