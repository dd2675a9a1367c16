// The names under which a versioned library lies in its folder: the file, libfoo-2.1.3.0.dylib, and the plain name that
// programs load, libfoo.dylib, a link to it.
//
// The install step and the update step cut a name differently: one before its first ".", the other before its last. For
// a name with one "." both give the same file. A library with more of them is installed under one name and looked for
// under another, so that every start fetches it again. That is kept: the files on users' disks have these names.
#pragma once

#include <string>

// --- The install step ---

// Whether the item is installed as a library: "dylib" is in its extension, or it has none.
bool IsInstalledAsLibrary(const std::string &itemName);

// What DeleteFiles (versionfordylib.h) takes the library's older versions by.
struct LibraryFamily {
    std::string prefix;    // the name up to its first "-" or, without one, its first "."
    std::string extension; // "dylib" for a name without one
};
LibraryFamily FamilyOfLibrary(const std::string &itemName);

struct LibraryNames {
    std::string link;
    std::string real;
};
// `version` has commas between its numbers, as items have.
LibraryNames NamesOfInstalledLibrary(const std::string &itemName, const std::string &version);

// --- The update step ---

// Whether the item is looked for as a library: "dylib" is anywhere in its path.
bool IsLookedForAsLibrary(const std::string &installPath);

// The file whose presence says that this version is installed.
std::string NameOfLibraryLookedFor(const std::string &itemName, const std::string &version);
