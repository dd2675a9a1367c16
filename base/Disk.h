// What a disk has room for, and what its errors mean.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace base {

// Bytes that the user can still write on the file system of `folder`; the largest number when that cannot be told.
std::uint64_t FreeSpace(const std::filesystem::path &folder);

// "the disk is full", "there is no permission to write", ...: what `error` means to a person.
std::string DiskErrorText(int error);

} // namespace base
