// Records what is installed, on a thread of its own: a component's files are hashed while the next one arrives.
#pragma once

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

#include "host/Folders.h"
#include "host/installed/InstallNotes.h"
#include "host/installed/Installed.h"

namespace lumhost {

class InstallRecorder {
public:
    explicit InstallRecorder(const Folders &folders) : m_folders(folders), m_notes(folders) {}
    ~InstallRecorder(); // when everything has been recorded
    InstallRecorder(const InstallRecorder &) = delete;
    InstallRecorder &operator=(const InstallRecorder &) = delete;

    // A component is about to be moved there; `number` is that of its file or folder. Any thread.
    void Moving(const std::filesystem::path &destination, std::uint64_t number) {
        m_notes.Open(destination, number);
    }
    // It was not.
    void NotMoved(const std::filesystem::path &destination) {
        m_notes.NotMoved(destination);
    }
    // The component at this path. The thread is started by the first one.
    void Add(std::filesystem::path destination);

private:
    void Run();
    void Work();
    void Record(const std::vector<std::filesystem::path> &destinations);

    const Folders m_folders;
    InstallNotes m_notes;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<std::filesystem::path> m_waiting;
    bool m_over = false;
    std::thread m_thread;
};

} // namespace lumhost
