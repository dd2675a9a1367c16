// Small files of the user's: read whole, written in one step.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "base/ScopedDescriptor.h"

namespace base {

// The file's bytes. Nothing when it is missing, no regular file, larger than maxBytes or unreadable; `error` (may be
// null) then holds the system's reason.
std::optional<std::string> ReadWhole(const std::filesystem::path &file, std::uint64_t maxBytes,
                                     std::string *error = nullptr);

enum class Readers { Owner, Everyone };

// Puts the file there in one step, and makes missing folders on its way, for the same readers. Who reads it meanwhile
// sees the old one or the new one. False, with the reason, when it cannot be done: then the old one is still there.
// What killed writers of that file have left is removed. One thread of a process at a time.
bool WriteInOneStep(const std::filesystem::path &file, std::string_view content, std::string *error = nullptr,
                    Readers readers = Readers::Owner);

// Removes what writers of this file have left beside it when they were killed.
void RemoveUnfinished(const std::filesystem::path &file);

// Makes the folder and the missing ones above it. False when that fails.
bool MakeFolder(const std::filesystem::path &folder, std::string *error = nullptr, Readers readers = Readers::Owner);

// All of it; false when the system takes no more.
bool WriteAll(int descriptor, std::string_view bytes);

// Held while it lives: keeps other processes of the user's from changing the same thing. A lock that cannot be taken
// (no such folder, a file system without locks) holds nothing, and the owner goes on.
class ScopedLock {
public:
    explicit ScopedLock(const std::filesystem::path &file);

private:
    ScopedDescriptor m_file;
};

} // namespace base
