#include "lum/common/versionfordylib.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <span>
#include <string_view>

#include "base/Ascii.h"
#include "lum/common/Assertion.h"

namespace {

constexpr SourceUnit kSource("lum/common/versionfordylib");
constexpr std::size_t kPathSize = 1024;
constexpr ItemCount kItemsAtOnce = 10;

struct Free {
    void operator()(void *block) const {
        free(block);
    }
};

struct IteratorCloser {
    void operator()(FSIterator iterator) const {
        FSCloseIterator(iterator);
    }
};
using ScopedIterator = std::unique_ptr<std::remove_pointer_t<FSIterator>, IteratorCloser>;

class Listing {
public:
    OSStatus Read(const FSRef &folder) {
        FSRef *items = nullptr;
        Boolean changed = false;
        const OSStatus status = FSGetDirectoryItems(&folder, &items, &m_count, &changed);
        m_items.reset(items);
        return status;
    }

    std::span<const FSRef> items() const {
        return {m_items.get(), m_count};
    }

private:
    std::unique_ptr<FSRef, Free> m_items;
    ItemCount m_count = 0;
};

// Makes room for `added` more references at the end of the block.
bool Grow(FSRef *&items, ItemCount count, ItemCount added) {
    void *grown = realloc(items, (count + added) * sizeof(FSRef));
    if (!grown) {
        return false;
    }
    items = static_cast<FSRef *>(grown);
    return true;
}

// Appends everything that the iterator gives.
OSStatus ReadAll(FSIterator iterator, FSRef *&items, ItemCount &count, Boolean &changed) {
    for (;;) {
        FSRef fetched[kItemsAtOnce];
        ItemCount number = 0;
        Boolean changedNow = false;
        const OSStatus status = FSGetCatalogInfoBulk(iterator, kItemsAtOnce, &number, &changedNow, kFSCatInfoNone,
                                                     nullptr, fetched, nullptr, nullptr);
        if (changedNow) {
            changed = true;
        }
        if (status != noErr && status != errFSNoMoreItems) {
            return status;
        }
        if (number > 0) {
            if (!Grow(items, count, number)) {
                return memFullErr;
            }
            std::copy_n(fetched, number, items + count);
            count += number;
        }
        if (status == errFSNoMoreItems) {
            return noErr;
        }
    }
}

// One item of a listing: its path, its name and its type.
struct Item {
    char path[kPathSize];
    std::string_view name;
    Boolean isAlias;
    Boolean isFolder;
};

bool Examine(const FSRef &ref, Item &item) {
    if (FSRefMakePath(&ref, reinterpret_cast<UInt8 *>(item.path), sizeof item.path) != noErr ||
        FSIsAliasFile(&ref, &item.isAlias, &item.isFolder) != noErr) {
        return false;
    }
    const std::string_view path = item.path;
    const std::size_t slash = path.rfind('/');
    if (slash == path.npos) {
        return false;
    }
    item.name = path.substr(slash + 1);
    return true;
}

// What a file belongs to: libfoo-2.1.3.dylib to the prefix "libfoo" and the extension "dylib".
struct Family {
    std::string_view prefix;
    std::string_view extension;

    // An empty part of the wanted family matches anything.
    bool Accepts(const Family &other) const {
        return (prefix.empty() || prefix == other.prefix) && (extension.empty() || extension == other.extension);
    }
};

std::string_view AfterLastDot(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    return dot == name.npos ? std::string_view() : name.substr(dot + 1);
}

Family VersionedFamily(std::string_view name) {
    const std::size_t dash = name.find('-');
    return dash == name.npos ? Family{} : Family{name.substr(0, dash), AfterLastDot(name)};
}

// The family of a file that may also lack a version (libfoo.dylib).
Family AnyFamily(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (name.find('-') != name.npos || dot == name.npos) {
        return VersionedFamily(name);
    }
    return {name.substr(0, dot), AfterLastDot(name)};
}

// The text between the first "-" and the last "."; empty when there is none.
std::string_view VersionIn(std::string_view name) {
    const std::size_t dash = name.find('-');
    const std::size_t dot = name.rfind('.');
    if (dash == name.npos || dot == name.npos || dot <= dash) {
        return {};
    }
    return name.substr(dash + 1, dot - dash - 1);
}

bool MakeRef(const char *path, FSRef &ref) {
    return FSPathMakeRef(reinterpret_cast<const UInt8 *>(path), &ref, nullptr) == noErr;
}

// The path up to its last "-" (even one in a folder's name), and ".dylib"; empty without a "-".
std::string LinkNameOf(std::string_view versionedFile) {
    const std::size_t dash = versionedFile.rfind('-');
    return dash == versionedFile.npos ? std::string() : std::string(versionedFile.substr(0, dash)) + ".dylib";
}

bool RemoveLink(const char *linkName) {
    if (unlink(linkName) == 0) {
        return true;
    }
    MacErrorTrace("try to unlink file(%s) failed", linkName);
    return false;
}

} // namespace

OSStatus FSGetDirectoryItems(const FSRef *folder, FSRef **items, ItemCount *count, Boolean *changed) {
    if (!items || !count || !changed) {
        return paramErr;
    }
    *count = 0;
    *changed = false;
    *items = static_cast<FSRef *>(malloc(sizeof(FSRef)));
    if (!*items) {
        return memFullErr;
    }
    FSIterator iterator = nullptr;
    OSStatus status = FSOpenIterator(folder, kFSIterateFlat, &iterator);
    if (status == noErr) {
        const ScopedIterator scoped(iterator);
        status = ReadAll(iterator, *items, *count, *changed);
    }
    if (status != noErr) {
        free(*items);
        *items = nullptr;
        *count = 0;
    }
    return status;
}

bool GetVersionFromDylib(const std::string &path, std::string &version, FSRef *ref) {
    const std::size_t slash = path.rfind('/');
    if (slash == path.npos) {
        return false;
    }
    const std::string folder = path.substr(0, slash);
    const Family wanted = VersionedFamily(std::string_view(path).substr(slash + 1));

    FSRef folderRef;
    if (!MakeRef(folder.c_str(), folderRef)) {
        MacErrorTrace("GetVersionFromDylib, Cannot find folder(%s)", folder.c_str());
        return false;
    }
    Listing listing;
    if (listing.Read(folderRef) != noErr) {
        MacErrorTrace("GetVersionFromDylib, Cannot find folder(%s)'s file list", folder.c_str());
        return false;
    }
    for (const FSRef &itemRef : listing.items()) {
        Item item;
        if (!Examine(itemRef, item) || item.isAlias || item.isFolder || !wanted.Accepts(VersionedFamily(item.name))) {
            continue;
        }
        const std::string_view found = VersionIn(item.name);
        if (found.empty()) {
            continue;
        }
        version = found;
        std::replace(version.begin(), version.end(), '.', ',');
        if (ref) {
            *ref = itemRef;
        }
        return true;
    }
    return false;
}

bool IsDylibFileExists(const char *inOriginalFile, int makeLink) {
    // Readers of traces know these two line numbers, so they are fixed.
    if (!AssertionHolds(inOriginalFile != nullptr, "inOriginalFile", kSource, 355)) {
        return false;
    }
    AssertionHolds(*inOriginalFile != '\0', "strlen(inOriginalFile)", kSource, 356);

    char versionedFile[kPathSize];
    char linkName[kPathSize];
    base::CopyBounded(versionedFile, sizeof versionedFile, inOriginalFile);
    base::CopyBounded(linkName, sizeof linkName, LinkNameOf(versionedFile));

    FSRef ref;
    if (!MakeRef(versionedFile, ref)) {
        return false;
    }
    Boolean isAlias = false;
    Boolean isFolder = false;
    if (FSIsAliasFile(&ref, &isAlias, &isFolder) == noErr && (isAlias || isFolder)) {
        remove(versionedFile);
        if (makeLink) {
            RemoveLink(linkName);
        }
        return false;
    }
    // A missing link counts as a failure too: only a library that has its link counts as installed.
    return makeLink && RemoveLink(linkName) && symlink(versionedFile, linkName) == 0;
}

void DeleteFiles(const std::string &folder, const std::string &prefix, const std::string &extension) {
    FSRef folderRef;
    Listing listing;
    if (!MakeRef(folder.c_str(), folderRef) || listing.Read(folderRef) != noErr) {
        return;
    }
    const Family wanted{prefix, extension};
    for (const FSRef &itemRef : listing.items()) {
        Item item;
        if (Examine(itemRef, item) && !item.isFolder && wanted.Accepts(AnyFamily(item.name))) {
            unlink(item.path);
        }
    }
}
