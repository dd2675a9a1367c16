#include "host/Folders.h"

#include <cstdlib>
#include <string>

#import <Foundation/Foundation.h>

#import "base/objc/ScopedPool.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

fs::path FromVariable(const char *name, const fs::path &otherwise) {
    const char *value = std::getenv(name);
    return value && value[0] == '/' ? fs::path(value) : otherwise;
}

fs::path Home() {
    const char *home = std::getenv("HOME");
    return home && *home ? fs::path(home) : fs::path([NSHomeDirectory() fileSystemRepresentation]);
}

// Foundation here takes the home from the password database; the folders lie where the user's HOME says.
fs::path ApplicationSupport(const fs::path &home) {
    NSArray *folders = NSSearchPathForDirectoriesInDomains(NSApplicationSupportDirectory, NSUserDomainMask, YES);
    if ([folders count] == 0) {
        return home / "GNUstep/Library/ApplicationSupport";
    }
    const fs::path folder([[folders objectAtIndex:0] fileSystemRepresentation]);
    const fs::path within = folder.lexically_relative([NSHomeDirectory() fileSystemRepresentation]);
    return within.empty() || *within.begin() == ".." ? folder : home / within;
}

// The folder that holds this program; empty when the system does not tell.
fs::path ProgramFolder() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return error ? fs::path() : program.parent_path();
}

} // namespace

Folders Folders::OfUser() {
    const base::ScopedPool pool;
    Folders folders;
    folders.home = Home();
    folders.installed = ApplicationSupport(folders.home) / "Kelvo Folder";
    folders.config = FromVariable("XDG_CONFIG_HOME", folders.home / ".config") / "lumhost";
    folders.data = FromVariable("XDG_DATA_HOME", folders.home / ".local/share") / "lumhost";
    folders.state = FromVariable("XDG_STATE_HOME", folders.home / ".local/state") / "lumhost";
    folders.cache = FromVariable("XDG_CACHE_HOME", folders.home / ".cache") / "lumhost";
    folders.temporary = FromVariable("TMPDIR", "/tmp");
    return folders;
}

fs::path OwnPart(std::string_view name) {
    const fs::path program = ProgramFolder();
    for (const char *place : {".", "..", LUMHOST_INSTALLED_PARTS}) { // beside it, in the build folder, installed
        std::error_code error;
        const fs::path part = (program / place / name).lexically_normal();
        if (!program.empty() && fs::is_directory(part, error)) {
            return part;
        }
    }
    return {};
}

} // namespace lumhost
