// What a start that was killed between moving a component into place and recording it would have recorded.
//
// A start notes each component before the move, in a file "installing.XXXXXX" of the data folder that it keeps locked
// while it lives; the kernel drops the lock however it ends. The note holds the number of the file or folder that is
// moved, so that what stands there later can be told from what stood there before. Whoever comes next and can have the
// lock brings the record up to date.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <set>

#include "host/Folders.h"
#include "host/files.h"

namespace lumhost {

// The notes of this process. Any thread. A note that cannot be written is left out: the component is then not on record
// if the process is killed at that moment.
class InstallNotes {
public:
    explicit InstallNotes(const Folders &folders) : m_folder(folders.data) {}
    ~InstallNotes(); // the file goes, unless something is open whose component could not be recorded
    InstallNotes(const InstallNotes &) = delete;
    InstallNotes &operator=(const InstallNotes &) = delete;

    // The file or folder with this number is about to be moved to this place.
    void Open(const std::filesystem::path &destination, std::uint64_t number);
    // It is on record, or was not moved.
    void Close(const std::filesystem::path &destination);

private:
    void MakeFile();
    void Append(char what, std::uint64_t number, const std::filesystem::path &destination);

    const std::filesystem::path m_folder;
    std::mutex m_lock;
    std::filesystem::path m_path;
    ScopedDescriptor m_file;
    std::set<std::filesystem::path> m_open;
};

// Records what the notes of ended processes tell, and removes those. Reads the components that it records.
void SettleInstallNotes(const Folders &folders);

} // namespace lumhost
