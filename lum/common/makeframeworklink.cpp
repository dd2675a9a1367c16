// makeFrameworkLinks finds the frameworks beside the application, makeOneFrameworkLink the files in one of them, and
// convert_to_symlink makes one link. Nothing is reported: what cannot be read or replaced stays as it is.
#include "lum/common/makeframeworklink.h"

#include <dirent.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/Ascii.h"
#include "lum/common/Assertion.h"
#include "base/ScopedFile.h"

namespace {

constexpr SourceUnit kSource("lum/common/makeframeworklink");
constexpr std::string_view kFramework = ".framework";
constexpr std::size_t kLinkTextSize = 1023;

struct FolderCloser {
    void operator()(DIR *folder) const {
        closedir(folder);
    }
};

// The names in a folder, none when it cannot be read. Taken whole, because the caller replaces entries.
std::vector<std::string> NamesIn(const std::string &path) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, FolderCloser> folder(opendir(path.c_str()));
    while (const dirent *entry = folder ? readdir(folder.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    return names;
}

// S_IFDIR, S_IFREG, S_IFLNK ... of the entry itself; 0 when its status cannot be read.
mode_t TypeOf(const std::string &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

// The folder that holds the application: folder/X.app/Contents/MacOS/X without its last four components.
std::string FolderOfApplication(const char *executablePath) {
    std::string_view folder = executablePath;
    for (int component = 0; component < 4; ++component) {
        const std::size_t slash = folder.rfind('/');
        if (slash == folder.npos) {
            return {};
        }
        folder = folder.substr(0, slash);
    }
    return std::string(folder);
}

bool NamesALink(std::string_view name, std::string_view framework) {
    return name == framework || base::EqualsIgnoringCase(name, "Resources") ||
           base::EqualsIgnoringCase(name, "Current");
}

} // namespace

void makeFrameworkLinks(const char *executablePath) {
    if (!executablePath) {
        return;
    }
    const std::string folder = FolderOfApplication(executablePath);
    if (folder.empty()) {
        return;
    }
    const std::string inFolder = folder + "/";
    for (const std::string &name : NamesIn(folder)) {
        const std::string path = inFolder + name;
        if (TypeOf(path) == S_IFDIR && path.find(kFramework) != path.npos) {
            makeOneFrameworkLink(path.c_str(), name.c_str());
        }
    }
}

void makeOneFrameworkLink(const char *folder, const char *frameworkName) {
    if (!folder || !*folder || !frameworkName) {
        return;
    }
    const std::string_view framework = frameworkName;
    const std::size_t extension = framework.find(kFramework);
    if (extension == framework.npos || TypeOf(folder) != S_IFDIR) {
        return;
    }
    const std::string inFolder = std::string(folder) + "/";
    for (const std::string &name : NamesIn(folder)) {
        const std::string path = inFolder + name;
        const mode_t type = TypeOf(path);
        if (type == S_IFREG && NamesALink(name, framework.substr(0, extension))) {
            convert_to_symlink(path.c_str());
        } else if (type == S_IFDIR && base::EqualsIgnoringCase(name, "Versions")) {
            makeOneFrameworkLink(path.c_str(), frameworkName);
        }
    }
}

int convert_to_symlink(const char *name) {
    if (!AssertionHolds(name != nullptr, "name", kSource)) {
        return -1;
    }
    char target[kLinkTextSize] = {};
    {
        const base::ScopedFile file(fopen(name, "rb"));
        if (!file || !fgets(target, sizeof target, file.get())) {
            return -1;
        }
    }
    if (const int result = unlink(name); result != 0) {
        return result;
    }
    // As read: a line end at its end becomes part of the target.
    return symlink(target, name);
}
