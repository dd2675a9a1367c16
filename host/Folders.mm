#include "host/Folders.h"

#import <Foundation/Foundation.h>

#include "base/Processes.h"
#include "base/UserFolders.h"
#import "base/objc/ScopedPool.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

// Foundation here takes the home from the password database; the folders lie where the user's HOME says.
fs::path ApplicationSupport() {
    NSArray *folders = NSSearchPathForDirectoriesInDomains(NSApplicationSupportDirectory, NSUserDomainMask, YES);
    if ([folders count] == 0) {
        return base::HomeFolder() / "GNUstep/Library/ApplicationSupport";
    }
    return base::MovedToHome([[folders objectAtIndex:0] fileSystemRepresentation],
                             [NSHomeDirectory() fileSystemRepresentation]);
}

} // namespace

Folders Folders::OfUser() {
    const base::ScopedPool pool;
    Folders folders;
    folders.home = base::HomeFolder();
    folders.installed = ApplicationSupport() / "Kelvo Folder";
    folders.config = base::ConfigFolder() / "lumhost";
    folders.data = base::DataFolder() / "lumhost";
    folders.state = base::StateFolder() / "lumhost";
    folders.cache = base::CacheFolder() / "lumhost";
    folders.temporary = base::TemporaryFolder();
    return folders;
}

fs::path OwnPart(std::string_view name) {
    const fs::path folder = base::OwnProgram().parent_path();
    for (const char *place : {".", "..", LUMHOST_INSTALLED_PARTS}) { // beside it, in the build folder, installed
        std::error_code error;
        const fs::path part = (folder / place / name).lexically_normal();
        if (!folder.empty() && fs::exists(part, error)) {
            return part;
        }
    }
    return {};
}

} // namespace lumhost
