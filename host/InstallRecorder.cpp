#include "host/InstallRecorder.h"

#include <exception>
#include <system_error>

#include "host/transfer_signals.h"

namespace lumhost {

InstallRecorder::~InstallRecorder() {
    if (!m_thread.joinable()) {
        return;
    }
    {
        const std::scoped_lock lock(m_lock);
        m_over = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void InstallRecorder::Add(std::filesystem::path destination) {
    const std::scoped_lock lock(m_lock);
    m_waiting.push_back(std::move(destination));
    if (m_thread.joinable()) {
        m_changed.notify_one();
        return;
    }
    try {
        const ScopedSignalBlock block;
        m_thread = std::thread(&InstallRecorder::Run, this);
    } catch (const std::system_error &) { // no thread to be had: the component is not on record, and that is told
    }
}

void InstallRecorder::Run() {
    try {
        Work();
    } catch (const std::exception &) { // out of memory: likewise
    }
}

void InstallRecorder::Record(const std::vector<InstalledComponent> &components) {
    if (!Installed(m_folders).Record(components)) { // the notes stay, for a start that can write
        return;
    }
    for (const InstalledComponent &component : components) {
        m_notes.Close(component.folder / component.name);
    }
}

void InstallRecorder::Work() {
    std::vector<InstalledComponent> looked;
    for (;;) {
        std::vector<std::filesystem::path> batch;
        {
            std::unique_lock lock(m_lock);
            if (m_waiting.empty() && !looked.empty()) { // a pause: the record is written once for all of them
                lock.unlock();
                Record(looked);
                looked.clear();
                lock.lock();
            }
            m_changed.wait(lock, [this] { return m_over || !m_waiting.empty(); });
            if (m_waiting.empty()) {
                return;
            }
            batch.swap(m_waiting);
        }
        for (const std::filesystem::path &destination : batch) {
            looked.push_back(Installed::Look(destination));
        }
    }
}

} // namespace lumhost
