// Records what is installed, beside the main thread: a component's files are hashed while the next one arrives.
#pragma once

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

#include "host/Folders.h"

namespace lumhost {

class InstallRecorder {
public:
    explicit InstallRecorder(const Folders &folders) : m_folders(folders) {}
    ~InstallRecorder(); // when everything has been recorded
    InstallRecorder(const InstallRecorder &) = delete;
    InstallRecorder &operator=(const InstallRecorder &) = delete;

    // The component at this path. The thread is started by the first one.
    void Add(std::filesystem::path destination);

private:
    void Run();
    void Work();

    const Folders m_folders;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<std::filesystem::path> m_waiting;
    bool m_over = false;
    std::thread m_thread;
};

} // namespace lumhost
