#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>

#include "base/WindowServer.h"
#import "fuzzywindow/InstalledApplication.h"
#import "fuzzywindow/InstructionCopy.h"
#include "fuzzywindow/LumFuzzyWindow.h"
#import "fuzzywindow/PlaceholderWindow.h"

namespace {

class FuzzyWindowManager final : public ILumFuzzyWindowManager, private PlaceholderWindow::Owner {
public:
    explicit FuzzyWindowManager(ILumFuzzyWindowDelegate &delegate) : m_delegate(delegate), m_copy(delegate) {}
    ~FuzzyWindowManager() {
        stop();
    }

    void start() override;
    void stop() override;
    void noticeDownloadSuccess() override;
    bool isReady() override;
    bool isNeedUpdateLumIni() override;
    std::string getSavedLumIniPath() override {
        return m_copy.Path();
    }
    void saveLumIniFile(const char *path) override;
    void setTotalDownloadSize(unsigned int bytes) override;
    void updateDownloadedSize(unsigned int bytes) override;

private:
    PlaceholderTexts Texts();
    void Open();
    void ShowShare();
    void ClosedByUser() override;
    void Warn(const std::string &text) override {
        m_delegate.traceWarning(text);
    }
    template <class Body> void Safely(const char *what, Body &&body);

    ILumFuzzyWindowDelegate &m_delegate;
    InstructionCopy m_copy;
    std::unique_ptr<PlaceholderWindow> m_window;
    std::uint64_t m_total = 0;
    std::uint64_t m_arrived = 0;
    bool m_started = false;
    bool m_everythingArrived = false;
};

// What goes wrong in here costs the window or the copy, never the start.
template <class Body> void FuzzyWindowManager::Safely(const char *what, Body &&body) {
    try {
        body();
    } catch (...) {
        m_delegate.traceWarning(std::string("The placeholder window failed: ") + what);
    }
}

PlaceholderTexts FuzzyWindowManager::Texts() {
    return {.title = m_delegate.getLumWindowTitle(),
            .topic = m_delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_MEETING_TOPIC),
            .hostLabel = m_delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_HOST_LABEL),
            .hostName = m_delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_HOST_NAME),
            .preparing = m_delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_PREPARING),
            .connecting = m_delegate.getLocailizedStringValueByKey(FUZZY_WINDOW_CONNECTING),
            .locked = m_delegate.isLumSupportSSL()};
}

void FuzzyWindowManager::Open() {
    if (!base::HasWindowServer()) {
        m_delegate.traceInfo("There is no window server, so no placeholder window.");
        return;
    }
    PlaceholderWindow::Owner &owner = *this;
    m_window = std::make_unique<PlaceholderWindow>(Texts(), m_delegate.getAppLastPositionFile(), owner);
}

void FuzzyWindowManager::start() {
    if (m_started && m_window && m_window->IsShown()) {
        Safely("start", [this] { m_window->BringToFront(); });
        return;
    }
    m_started = true;
    m_everythingArrived = false;
    m_total = m_arrived = 0;
    m_window.reset();
    Safely("start", [this] { Open(); });
    PlaceholderWindow::HandleEvents(); // the last: the user may end everything in there
}

void FuzzyWindowManager::stop() {
    if (m_started && !m_everythingArrived) {
        Safely("stop", [this] { m_copy.Forget(); });
    }
    m_started = false;
    Safely("stop", [this] { m_window.reset(); });
}

void FuzzyWindowManager::ClosedByUser() {
    ILumFuzzyWindowDelegate &delegate = m_delegate;
    const std::unique_ptr<PlaceholderWindow> gone = std::move(m_window);
    delegate.traceInfo("The user closed the placeholder window.");
    delegate.stopLum(); // this object may be gone after that
}

void FuzzyWindowManager::noticeDownloadSuccess() {
    m_everythingArrived = true;
    if (m_window) {
        Safely("noticeDownloadSuccess", [this] { m_window->ShowConnecting(); });
    }
}

bool FuzzyWindowManager::isReady() {
    const bool ready = m_everythingArrived || !m_window || !m_window->IsShown();
    PlaceholderWindow::HandleEvents();
    return ready;
}

bool FuzzyWindowManager::isNeedUpdateLumIni() {
    bool current = false;
    Safely("isNeedUpdateLumIni", [&] {
        current =
            IsInstalled(m_delegate.getAppPListPath(), m_delegate.getFakeClientAppVersion()) && m_copy.IsWholeAndYoung();
    });
    return !current;
}

void FuzzyWindowManager::saveLumIniFile(const char *path) {
    Safely("saveLumIniFile", [&] { m_copy.Keep(path); });
}

void FuzzyWindowManager::setTotalDownloadSize(unsigned int bytes) {
    m_total = bytes;
    ShowShare();
}

void FuzzyWindowManager::updateDownloadedSize(unsigned int bytes) {
    m_arrived += bytes;
    ShowShare();
}

void FuzzyWindowManager::ShowShare() {
    if (!m_window) {
        return;
    }
    const int percent = m_total == 0 ? -1 : static_cast<int>(std::min(m_arrived, m_total) * 100 / m_total);
    Safely("progress", [&] { m_window->ShowShare(percent); });
    PlaceholderWindow::HandleEvents(); // the last, as in start
}

} // namespace

ILumFuzzyWindowManager *createLumFuzzyWindow(ILumFuzzyWindowDelegate *delegate) {
    return delegate ? new (std::nothrow) FuzzyWindowManager(*delegate) : nullptr;
}

void destroyLumFuzzyWindow(ILumFuzzyWindowManager *manager) {
    delete static_cast<FuzzyWindowManager *>(manager);
}
