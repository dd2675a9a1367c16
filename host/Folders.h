// Where the container keeps the user's files, and where its own parts are.
#pragma once

#include <filesystem>
#include <string_view>

namespace lumhost {

// What was built or installed with this program; the first is also the name of the user's copy.
inline constexpr std::string_view kExtensionBundle = "lumext.bundle";
inline constexpr std::string_view kTheme = "lumext.bundle/Resources/Lum.theme";
// In the folder of the components; locked while one is installed.
inline constexpr std::string_view kInstallLock = ".install.lock";
inline constexpr std::string_view kBrowserExtension = "browser-extension";

struct Folders {
    std::filesystem::path home;      // HOME when it is set, otherwise that of the password database
    std::filesystem::path installed; // "Kelvo Folder" of the user's Application Support: components and the extension
    std::filesystem::path config;    // these four: the container's own, by the XDG Base Directory Specification
    std::filesystem::path data;
    std::filesystem::path state;
    std::filesystem::path cache;                // downloads while they run
    std::filesystem::path temporary;            // the user's temporary folder
    std::filesystem::path machine = "/etc/lum"; // what the administrator has set

    // The file with the allowed sites.
    std::filesystem::path Origins() const {
        return config / "allowed-origins";
    }
    // What is kept of the sites with signed releases, and the roots that the administrator has set.
    std::filesystem::path Releases() const {
        return data / "releases";
    }
    std::filesystem::path AdministratorsRoots() const {
        return machine / "releases";
    }

    // None of them need exist. The Application Support folder is the one that the window system's search gives, moved
    // to HOME.
    static Folders OfUser();
};

// The folder or program of that name that was built or installed with this one; empty when there is none.
std::filesystem::path OwnPart(std::string_view name);

} // namespace lumhost
