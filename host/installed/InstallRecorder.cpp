#include "host/installed/InstallRecorder.h"

#include <chrono>
#include <exception>
#include <system_error>

#include "base/ScopedSignalBlock.h"

namespace lumhost {

namespace {

constexpr std::chrono::seconds kPause(1);

} // namespace

InstallRecorder::InstallRecorder(const Folders &folders, InstalledSource source)
    : m_folders(folders), m_source(std::move(source)), m_notes(folders, ToLine(m_source)) {}

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

void InstallRecorder::Moving(const std::filesystem::path &destination, std::uint64_t number,
                             std::vector<delivery::UnpackedFile> files) {
    m_notes.Open(destination, number);
    const std::scoped_lock lock(m_lock);
    m_unpacked[destination] = std::move(files);
}

void InstallRecorder::Add(std::filesystem::path destination) {
    const std::scoped_lock lock(m_lock);
    m_waiting.push_back(std::move(destination));
    if (m_thread.joinable()) {
        m_changed.notify_one();
        return;
    }
    try {
        const base::ScopedSignalBlock block;
        m_thread = std::thread(&InstallRecorder::Run, this);
    } catch (const std::system_error &) { // no thread: the component stays off the record, which "status" shows
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
        m_notes.Recorded(component.folder / component.name);
    }
}

// The start goes first: what it has installed is recorded when it pauses.
void InstallRecorder::Work() {
    for (;;) {
        std::map<std::filesystem::path, std::vector<delivery::UnpackedFile>> batch;
        {
            std::unique_lock lock(m_lock);
            m_changed.wait(lock, [this] { return m_over || !m_waiting.empty(); });
            while (!m_over && m_changed.wait_for(lock, kPause) == std::cv_status::no_timeout) {
            }
            if (m_waiting.empty()) {
                return;
            }
            for (const std::filesystem::path &destination : m_waiting) {
                batch[destination] = std::move(m_unpacked[destination]);
                m_unpacked.erase(destination);
            }
            m_waiting.clear();
        }
        std::vector<InstalledComponent> looked;
        for (const auto &[destination, files] : batch) {
            looked.push_back(Installed::Take(destination, files));
            looked.back().source = m_source;
        }
        Record(looked);
    }
}

} // namespace lumhost
