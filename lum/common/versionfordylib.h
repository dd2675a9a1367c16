// Libraries with their version in the file name (libfoo-2.1.3.dylib): the version on disk, the removal of older files,
// the unversioned link (libfoo.dylib).
//
// A name has a prefix, the text before its first "-"; a version, from there to its last "."; and an extension, the text
// after that. Only names are read; no file is opened. Folders are listed in the platform's order; links are
// aliases. Main thread only.
#pragma once

#include <Carbon/Carbon.h>

#include <string>

// Lists a folder: `items` gets a block of `count` references, which the caller frees with free(), `changed` whether the
// folder changed during the listing. 0; -50 when one of the three is null; -108 when there is no memory; or the
// platform's status. On failure the block is null and the count 0.
OSStatus FSGetDirectoryItems(const FSRef *folder, FSRef **items, ItemCount *count, Boolean *changed);

// Looks in the folder of `path` for the first file with the prefix and the extension of `path`'s own name (a name
// without "-" matches any) that has a version. True: `version` gets that, each "." as ",", and `ref`, which may be
// null, the file. False leaves both as they are; a folder that cannot be read is traced. `path` itself need not exist.
bool GetVersionFromDylib(const std::string &path, std::string &version, FSRef *ref);

// Renews the link of a versioned library, when `makeLink` is not 0. The link's name is the path cut before its last "-"
// with ".dylib" appended. True only when the old link could be removed and the new one made: false, too, when there was
// none, which is traced. A link or a folder in the library's place is removed instead (a folder that is not empty
// stays), and its link with it.
//
// Paths are cut to 1023 bytes. Null ("inOriginalFile") and empty ("strlen(inOriginalFile)") are reported.
bool IsDylibFileExists(const char *inOriginalFile, int makeLink);

// Removes from `folder` every file and link with this prefix and this extension; empty means any. Here a name
// without "-" has a prefix too, the text before its last ".". Folders stay; failures are not reported.
void DeleteFiles(const std::string &folder, const std::string &prefix, const std::string &extension);
