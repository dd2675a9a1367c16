// Paths of folders, as the controller and the installation manager compose them.
#pragma once

#include <string>

// `path` with a "/" at its end; an empty path stays empty (relative).
inline std::string WithTrailingSlash(std::string path) {
    if (!path.empty() && path.back() != '/') {
        path += '/';
    }
    return path;
}

// Likewise, but an empty path becomes the root. The update step looks for libraries so, and the folder below
// Application Support is made so; the install step uses the other. Sites have seen both for years, so each keeps its
// own.
inline std::string WithTrailingSlashOrRoot(const std::string &path) {
    return path.empty() ? "/" : WithTrailingSlash(path);
}

// Makes the folder and whatever of its parents is missing. Failures show when something is put into the folder.
void MakeDirectories(const std::string &path);
