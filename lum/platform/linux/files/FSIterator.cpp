#include <dirent.h>
#include <errno.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "base/Ascii.h"
#include "lum/platform/linux/files/FSRef.h"

struct OpaqueFSIterator {
    std::string folder;
    timespec changed; // when the folder was changed last before it was listed
    std::vector<std::string> names;
    std::size_t next;
};

namespace {

struct CloseDirectory {
    void operator()(DIR *directory) const {
        closedir(directory);
    }
};

OSErr ErrorOf(int error) {
    switch (error) {
    case ENOTDIR:
        return errFSNotAFolder;
    case EACCES:
    case EPERM:
        return permErr;
    case ENOMEM:
        return memFullErr;
    default:
        return fnfErr;
    }
}

bool Precedes(const std::string &a, const std::string &b) {
    const auto lessByte = [](unsigned char x, unsigned char y) { return x < y; };
    const auto lessLetter = [&](char x, char y) { return lessByte(base::AsciiLower(x), base::AsciiLower(y)); };
    if (std::ranges::lexicographical_compare(a, b, lessLetter)) {
        return true;
    }
    return !std::ranges::lexicographical_compare(b, a, lessLetter) &&
           std::ranges::lexicographical_compare(a, b, lessByte);
}

std::vector<std::string> SortedNames(DIR *directory) {
    std::vector<std::string> names;
    while (const dirent *entry = readdir(directory)) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    std::ranges::sort(names, Precedes);
    return names;
}

OSErr OpenFolder(const std::string &path, FSIterator &iterator) {
    const std::unique_ptr<DIR, CloseDirectory> directory(opendir(path.c_str()));
    struct stat status {};
    if (!directory || fstat(dirfd(directory.get()), &status) != 0) {
        return ErrorOf(errno);
    }
    iterator = new OpaqueFSIterator{path, status.st_mtim, SortedNames(directory.get()), 0};
    return noErr;
}

bool IsChanged(const OpaqueFSIterator &iterator) {
    struct stat status {};
    return stat(iterator.folder.c_str(), &status) != 0 || status.st_mtim.tv_sec != iterator.changed.tv_sec ||
           status.st_mtim.tv_nsec != iterator.changed.tv_nsec;
}

FSRef RefForItem(const OpaqueFSIterator &iterator, const std::string &name) {
    return RefForPath(iterator.folder.ends_with('/') ? iterator.folder + name : iterator.folder + '/' + name);
}

} // namespace

OSErr FSOpenIterator(const FSRef *container, FSIteratorFlags iteratorFlags, FSIterator *iterator) {
    const std::string *path = PathOfRef(container);
    if (!path || !iterator) {
        return paramErr;
    }
    if (iteratorFlags != kFSIterateFlat) {
        return errFSBadIteratorFlags;
    }
    try {
        return OpenFolder(*path, *iterator);
    } catch (const std::bad_alloc &) {
        return memFullErr;
    }
}

OSErr FSGetCatalogInfoBulk(FSIterator iterator, ItemCount maximumObjects, ItemCount *actualObjects,
                           Boolean *containerChanged, FSCatalogInfoBitmap whichInfo, FSCatalogInfo *catalogInfos,
                           FSRef *refs, FSSpecPtr specs, HFSUniStr255 *names) {
    if (!iterator || maximumObjects == 0 || !actualObjects || whichInfo != kFSCatInfoNone || catalogInfos || specs ||
        names) {
        return paramErr;
    }
    if (containerChanged) {
        *containerChanged = IsChanged(*iterator);
    }
    const std::size_t left = iterator->names.size() - iterator->next;
    *actualObjects = std::min<ItemCount>(maximumObjects, left);
    for (ItemCount i = 0; i < *actualObjects; ++i, ++iterator->next) {
        if (refs) {
            refs[i] = RefForItem(*iterator, iterator->names[iterator->next]);
        }
    }
    return *actualObjects < maximumObjects ? OSErr{errFSNoMoreItems} : OSErr{noErr};
}

OSErr FSCloseIterator(FSIterator iterator) {
    if (!iterator) {
        return paramErr;
    }
    delete iterator;
    return noErr;
}
