// What became of components whose start did not end as it should: it was killed between moving one into place and
// recording it, or the computer lost its power before the disk had the component's contents.
//
// A start notes each component before the move, in a file "installing.XXXXXX" of the data folder that it keeps locked
// while it lives; the kernel drops the lock however it ends. The note is on the disk before the move. It holds the
// number of the file or folder that is moved, so that what stands there later can be told from what stood there before,
// and the file begins with the boot in which it was written. Nobody who waits for a meeting waits for the disk: it is
// given all contents at the end of a start, and only then the file goes. Whoever comes next and can have the lock
// clears away where that process unpacked and brings the record up to date, or, after another boot, removes what may be
// half on the disk, so that it is fetched again.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <set>

#include "host/Folders.h"
#include "base/Files.h"

namespace lumhost {

// The notes of this process. Any thread. A note that cannot be written is left out: the component is then not on record
// if the process is killed at that moment.
class InstallNotes {
public:
    explicit InstallNotes(const Folders &folders) : m_folder(folders.data) {}
    // Waits for the disk. The file goes, unless something is open whose component could not be recorded.
    ~InstallNotes();
    InstallNotes(const InstallNotes &) = delete;
    InstallNotes &operator=(const InstallNotes &) = delete;

    // The file or folder with this number is about to be moved to this place.
    void Open(const std::filesystem::path &destination, std::uint64_t number);
    void Recorded(const std::filesystem::path &destination);
    void NotMoved(const std::filesystem::path &destination);

private:
    void MakeFile();
    void Close(char how, const std::filesystem::path &destination);
    bool MakeRoom();
    void Append(char what, std::uint64_t number, const std::filesystem::path &destination);

    const std::filesystem::path m_folder;
    std::mutex m_lock;
    std::filesystem::path m_path;
    base::ScopedDescriptor m_file;
    std::size_t m_end = 0;  // of the last note
    std::size_t m_room = 0; // bytes of the file
    std::set<std::filesystem::path> m_open;
    std::set<std::filesystem::path> m_folders; // into which something was moved
};

// Records or removes what the notes of ended processes tell, and removes those. Reads the components that it records.
void SettleInstallNotes(const Folders &folders);

} // namespace lumhost
