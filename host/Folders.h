// Where the container keeps what is the user's.
#pragma once

#include <filesystem>
#include <string_view>

namespace lumhost {

struct Folders {
    std::filesystem::path home;      // HOME when it is set, otherwise that of the password database
    std::filesystem::path installed; // "Kelvo Folder" of the user's Application Support: components and the extension
    std::filesystem::path config;    // these four: the container's own, by the desktop's rules (XDG_...)
    std::filesystem::path data;
    std::filesystem::path state;
    std::filesystem::path cache;     // what is being downloaded
    std::filesystem::path temporary; // the user's temporary folder

    // None of them need exist. The Application Support folder is that of the window system's own search, moved to HOME.
    static Folders OfUser();
};

// The folder that holds this program; empty when the system does not tell.
std::filesystem::path ProgramFolder();

// The folder of that name that was built or installed with this program ("lumext.bundle"); empty when there is none.
std::filesystem::path OwnPart(std::string_view name);

} // namespace lumhost
