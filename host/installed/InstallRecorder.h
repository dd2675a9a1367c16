// Records what is installed, on a thread of its own. What is in a component is known from the unpacking, so it is not
// read for that.
#pragma once

#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "host/Folders.h"
#include "host/installed/InstallNotes.h"
#include "host/installed/Installed.h"

namespace lumhost {

class InstallRecorder {
public:
    // Everything comes from this source.
    InstallRecorder(const Folders &folders, InstalledSource source);
    ~InstallRecorder(); // when everything has been recorded
    InstallRecorder(const InstallRecorder &) = delete;
    InstallRecorder &operator=(const InstallRecorder &) = delete;

    // A component is about to be moved there; `number` is that of its file or folder, and `files` are in it. Any
    // thread.
    void Moving(const std::filesystem::path &destination, std::uint64_t number,
                std::vector<delivery::UnpackedFile> files);
    // It was not.
    void NotMoved(const std::filesystem::path &destination) {
        m_notes.NotMoved(destination);
    }
    // The component at this path. The thread is started by the first one.
    void Add(std::filesystem::path destination);

private:
    using Unpacked = std::map<std::filesystem::path, std::vector<delivery::UnpackedFile>>;

    void Run();
    void Work();
    void Record(const Unpacked &unpacked);

    const Folders m_folders;
    const InstalledSource m_source;
    InstallNotes m_notes;
    std::mutex m_lock;
    std::condition_variable m_changed;
    Unpacked m_unpacked;
    std::vector<std::filesystem::path> m_waiting;
    bool m_over = false;
    std::thread m_thread;
};

} // namespace lumhost
