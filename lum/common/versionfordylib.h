// Libraries that carry their version in the file name (libfoo-2.1.3.dylib): probing, clean-up, the unversioned link.
#pragma once

#include <Carbon/Carbon.h>

#include <string>

OSStatus FSGetDirectoryItems(const FSRef *folder, FSRef **items, ItemCount *count, Boolean *changed);
bool GetVersionFromDylib(const std::string &path, std::string &version, FSRef *ref);
bool IsDylibFileExists(const char *inOriginalFile, int makeLink);
void DeleteFiles(const std::string &folder, const std::string &prefix, const std::string &extension);
