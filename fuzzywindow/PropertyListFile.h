// Property lists that are read and written whole.
#pragma once

#include <string>

#include "base/Result.h"

@class NSDictionary;

// The dictionary that the property list file holds, autoreleased; nil when there is no such file, it is larger than
// 1 MiB, or it is damaged.
NSDictionary *ReadPropertyList(const std::string &path);

// Replaces the file in one step, readable by this user only; makes missing folders. Does not wait for the disk: a start
// must not, and a file that a power failure emptied counts as missing.
base::Result<void> WritePropertyList(const std::string &path, NSDictionary *content);
