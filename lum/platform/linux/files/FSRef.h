// What an FSRef holds.
#pragma once

#include <CoreServices/CoreServices.h>

#include <string>

// The path that the reference stands for; null for one that stands for nothing. The text stays valid until the process
// ends.
const std::string *PathOfRef(const FSRef *ref);

// `path` is absolute; nothing is looked up.
FSRef RefForPath(const std::string &path);
