#include "host/installed/InstallRecorder.h"

#include <chrono>
#include <exception>
#include <system_error>

#include "base/ScopedSignalBlock.h"

namespace lumhost {

namespace {

constexpr std::chrono::seconds kPause(1);

// Another start renews the link of a library while it looks at it, so that for a moment there is none.
void WaitUntilThere(const std::filesystem::path &destination) {
    constexpr int kTries = 50;
    for (int i = 0; i < kTries && Identify(destination) == Identity(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

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

// The components are read while the record is locked: two starts that install the same one would otherwise record what
// one of them saw while the other was replacing it.
void InstallRecorder::Record(const Unpacked &unpacked) {
    const auto recorded = Installed(m_folders).Change([&](std::vector<InstalledComponent> &components) {
        for (const auto &[destination, files] : unpacked) {
            WaitUntilThere(destination);
            InstalledComponent looked = Installed::Take(destination, files);
            looked.source = m_source;
            std::erase_if(components, [&](const InstalledComponent &old) {
                return old.folder == looked.folder && old.name == looked.name;
            });
            components.push_back(std::move(looked));
        }
        return true;
    });
    if (!recorded) { // the notes stay, for a start that can write
        return;
    }
    for (const auto &[destination, files] : unpacked) {
        m_notes.Recorded(destination);
    }
}

// The start goes first: what it has installed is recorded when it pauses.
void InstallRecorder::Work() {
    for (;;) {
        Unpacked batch;
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
        Record(batch);
    }
}

} // namespace lumhost
