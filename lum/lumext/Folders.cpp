#include "lum/lumext/Folders.h"

#include "lum/common/lumutil.h"

void MakeDirectories(const std::string &path) {
    for (std::string::size_type slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string parent = path.substr(0, slash);
        if (!FileExists(parent)) {
            MakeDirectory(parent.c_str());
        }
    }
    if (!path.empty()) {
        MakeDirectory(path.c_str());
    }
}
