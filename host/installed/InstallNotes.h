// What became of components whose start did not end normally: it was killed between moving one into place and recording
// it, or the computer lost power before the component's contents were on the disk.
//
// A start notes each component before the move, in a file "installing.XXXXXX" of the data folder that it keeps locked
// while it lives; the kernel drops the lock however it ends. The note is on the disk before the move. It holds the
// number of the file or folder that is moved, so that what is there later can be told from what was there before,
// and the file begins with the identifier of the boot. Starting a meeting never waits for disk flushes: contents are
// flushed at the end of a start, and only then the file is removed. The next process that gets the lock removes the
// staging folders of that start and updates the record; after a reboot it removes what may be incomplete on the disk,
// so that it is downloaded again.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <set>
#include <string>

#include "host/Folders.h"
#include "base/Files.h"

namespace lumhost {

// The notes of this process. Any thread. A note that cannot be written is skipped: the component is then not on record
// if the process is killed at that moment.
class InstallNotes {
public:
    // `source`: a line that says where everything comes from (Installed.h); may be empty.
    explicit InstallNotes(const Folders &folders, std::string source = {})
        : m_folder(folders.data), m_source(std::move(source)) {}
    // Flushes. The file is removed, unless a component in it could not be recorded.
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
    const std::string m_source;
    std::mutex m_lock;
    std::filesystem::path m_path;
    base::ScopedDescriptor m_file;
    std::size_t m_end = 0;  // of the last note
    std::size_t m_room = 0; // bytes of the file
    std::set<std::filesystem::path> m_open;
    std::set<std::filesystem::path> m_folders; // into which something was moved
};

// Records or removes the components in the notes of ended processes, and removes the notes. Reads the components that
// it records.
void SettleInstallNotes(const Folders &folders);

} // namespace lumhost
