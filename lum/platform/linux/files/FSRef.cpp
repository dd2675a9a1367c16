#include "lum/platform/linux/files/FSRef.h"

#include <CoreServices/CoreServices.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <unordered_map>
#include <vector>

namespace {

// A path does not fit into a reference, so the paths are kept here, each once, and a reference holds a number. They
// stay for good: nothing tells when a reference is thrown away, and a session sees few different ones.
class PathTable {
public:
    UInt32 Add(const std::string &path) {
        const auto [entry, isNew] = m_numbers.try_emplace(path, static_cast<UInt32>(m_paths.size() + 1));
        if (isNew) {
            m_paths.push_back(&entry->first);
        }
        return entry->second;
    }

    // Numbers count from 1.
    const std::string *Find(UInt32 number) const {
        return number == 0 || number > m_paths.size() ? nullptr : m_paths[number - 1];
    }

private:
    std::unordered_map<std::string, UInt32> m_numbers;
    std::vector<const std::string *> m_paths;
};

PathTable &Paths() {
    static auto *const table = new PathTable;
    return *table;
}

std::string Absolute(const std::string &path) {
    if (path.starts_with('/')) {
        return path;
    }
    char folder[PATH_MAX];
    return getcwd(folder, sizeof folder) ? std::string(folder) + '/' + path : std::string();
}

std::string WithoutSlashesAtEnd(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.pop_back();
    }
    return path;
}

bool StatusOf(const FSRef *ref, struct stat &status) {
    const std::string *path = PathOfRef(ref);
    return path && lstat(path->c_str(), &status) == 0;
}

} // namespace

const std::string *PathOfRef(const FSRef *ref) {
    if (!ref) {
        return nullptr;
    }
    UInt32 number = 0;
    std::memcpy(&number, ref->hidden, sizeof number);
    return Paths().Find(number);
}

FSRef RefForPath(const std::string &path) {
    const UInt32 number = Paths().Add(path);
    FSRef ref{};
    std::memcpy(ref.hidden, &number, sizeof number);
    return ref;
}

OSStatus FSPathMakeRef(const UInt8 *path, FSRef *ref, Boolean *isDirectory) {
    if (!path || !*path || !ref) {
        return paramErr;
    }
    const std::string absolute = WithoutSlashesAtEnd(Absolute(reinterpret_cast<const char *>(path)));
    struct stat status {};
    if (lstat(absolute.c_str(), &status) != 0) {
        return fnfErr;
    }
    *ref = RefForPath(absolute);
    if (isDirectory) {
        *isDirectory = S_ISDIR(status.st_mode);
    }
    return noErr;
}

OSStatus FSRefMakePath(const FSRef *ref, UInt8 *path, UInt32 pathSize) {
    const std::string *text = PathOfRef(ref);
    if (!text || !path) {
        return paramErr;
    }
    if (text->size() >= pathSize) {
        return pathTooLongErr;
    }
    std::memcpy(path, text->c_str(), text->size() + 1);
    return noErr;
}

OSErr FSIsAliasFile(const FSRef *ref, Boolean *aliasFileFlag, Boolean *folderFlag) {
    if (!PathOfRef(ref) || !aliasFileFlag || !folderFlag) {
        return paramErr;
    }
    struct stat status {};
    if (!StatusOf(ref, status)) {
        return fnfErr;
    }
    *aliasFileFlag = S_ISLNK(status.st_mode);
    *folderFlag = S_ISDIR(status.st_mode);
    return noErr;
}
