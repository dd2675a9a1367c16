#include "lum/lumext/Folders.h"

#include "base/FileStatus.h"
#include "lum/common/lumutil.h"

void MakeDirectories(const std::string &path) {
    for (std::string::size_type slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string parent = path.substr(0, slash);
        if (!base::Resolves(parent.c_str())) { // not FileExists, which removes a folder whose name has ".dylib" in it
            MakeDirectory(parent.c_str());
        }
    }
    if (!path.empty()) {
        MakeDirectory(path.c_str());
    }
}
