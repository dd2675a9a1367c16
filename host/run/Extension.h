// The extension's code: its bundle, loaded into this process and never unloaded.
#pragma once

#include <filesystem>

#include "base/Result.h"
#include "lum/lumext/lumextInterface.h"

namespace lumhost {

struct Extension {
    decltype(&LumInitInstance) initInstance = nullptr;
    decltype(&LumHandleEvent) handleEvent = nullptr;
    decltype(&LumSetWindow) setWindow = nullptr;
    decltype(&LumActionNotify) actionNotify = nullptr;
    decltype(&LumHeartbeat) heartbeat = nullptr;
    decltype(&LumExitInstance) exitInstance = nullptr;

    // Loads the bundle (a folder) and finds the six entry points. Main thread.
    static base::Result<Extension> Load(const std::filesystem::path &bundle);
};

} // namespace lumhost
