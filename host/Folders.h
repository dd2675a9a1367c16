// Where the container keeps the user's files, and where its own parts are.
#pragma once

#include <filesystem>
#include <string_view>

namespace lumhost {

// The folders that were built or installed with this program, and the name of the user's copy of the first.
inline constexpr std::string_view kExtensionBundle = "lumext.bundle";
inline constexpr std::string_view kTheme = "Lum.theme";
// In the folder of the components; locked while one is installed.
inline constexpr std::string_view kInstallLock = ".install.lock";
inline constexpr std::string_view kBrowserExtension = "browser-extension";

struct Folders {
    std::filesystem::path home;      // HOME when it is set, otherwise that of the password database
    std::filesystem::path installed; // "Kelvo Folder" of the user's Application Support: components and the extension
    std::filesystem::path config;    // these four: the container's own, by the XDG Base Directory Specification
    std::filesystem::path data;
    std::filesystem::path state;
    std::filesystem::path cache;     // downloads while they run
    std::filesystem::path temporary; // the user's temporary folder

    // The file with the allowed sites.
    std::filesystem::path Origins() const {
        return config / "allowed-origins";
    }

    // None of them need exist. The Application Support folder is the one that the window system's search gives, moved
    // to HOME.
    static Folders OfUser();
};

// The folder of that name that was built or installed with this program; empty when there is none.
std::filesystem::path OwnPart(std::string_view name);

} // namespace lumhost
