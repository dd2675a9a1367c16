// What a disk has room for, and what its errors mean.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace base {

// Bytes that the user can still write on the file system of `folder`, or of what is open as `descriptor`; the largest
// number when that cannot be told.
std::uint64_t FreeSpace(const std::filesystem::path &folder);
std::uint64_t FreeSpace(int descriptor);

// "the disk is full", "there is no permission to write", ...: what `error` means to a person.
std::string DiskErrorText(int error);

} // namespace base
