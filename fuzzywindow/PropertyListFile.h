// Files that are read and written whole.
#pragma once

#include <string>

@class NSDictionary;

// The dictionary that the property list file holds, autoreleased; nil when there is no such file, it is larger than
// 1 MiB, or it is damaged.
NSDictionary *ReadPropertyList(const std::string &path);

// Both write a new file beside `path`, readable by this user only, and move it into place, so that `path` holds the old
// content or the new, never a part. Missing folders are made. An empty result means success; otherwise it says what
// went wrong, and `path` is as it was.
std::string WriteFileAtomically(const std::string &path, const std::string &content);
std::string WritePropertyList(const std::string &path, NSDictionary *content);
