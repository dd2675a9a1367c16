// Downloads: asking the host for packages, accounting their bytes, showing the progress.
#import <AppKit/AppKit.h>
#include <Carbon/Carbon.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

#import "base/objc/ScopedPool.h"
#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/lumext.h"
#include "lum/lumext/luminstallationmgr.h"
#include "lum/lumext/TraceLines.h"
#include "lum/platform/Session.h"
#import "lum/ui/CDownloadWindow.h"

namespace {

constexpr SourceUnit kSource("lum/lumext/luminstallationmgr");

void BringOwnProcessToFront() {
    ProcessSerialNumber own;
    if (GetProcessForPID(getpid(), &own) == noErr) {
        SetFrontProcess(&own);
    }
}

// Rounded up.
int WholeMinutes(unsigned int seconds) {
    return static_cast<int>(seconds / 60 + (seconds % 60 != 0));
}

} // namespace

void CancelDownload(LumInstallationMgr &manager) {
    manager.Cancel();
}

void LumInstallationMgr::PrepareDownload(CItem *pItem, bool flag) {
    if (!AssertionHolds(pItem != nullptr, "pItem", kSource)) {
        return;
    }
    if (!flag) {
        m_dwTotalSize += pItem->m_dwCompressedSize;
    }
    if (m_dwStartTick == 0) {
        m_dwStartTick = GetTickCount();
    }
    std::string url;
    GetItemUrlPath(pItem, url);
    // Makes every request unique, so that no cache on the way answers it.
    url += "?random=" + std::to_string(static_cast<unsigned long>(GetTickCount()));
    MacInfoTrace(LUM_TRACE_PACKAGE_ASKED, url.c_str(), m_dwTotalSize);
    Services().GetFile(CLumExtension::GetFileCallback, pItem, url);
}

void LumInstallationMgr::UpdateDownloadProgress(std::uint32_t bytes) {
    m_dwDownloadedSize += bytes;
    const std::uint32_t elapsed = CalcSequenceDistance(m_dwStartTick, GetTickCount());
    const std::uint32_t seconds = elapsed < 1000 ? 1 : elapsed / 1000;
    m_dwDownloadSpeed = m_dwDownloadedSize / seconds;
    if (m_pDownloadWindow && m_dwTotalSize != 0 && !m_isJsonDownload) {
        UpdateDownloadWindowProgress();
        [m_pDownloadWindow setProgressTime:WholeMinutes(CalcEstimatedTimeLeft())];
    }
}

void LumInstallationMgr::UpdateDownloadWindowProgress() {
    // Above 100 when more arrives than was announced; only what no trace could print is cut.
    const double share = static_cast<double>(m_dwDownloadedSize) / m_dwTotalSize * 100.0;
    const auto percent = static_cast<unsigned int>(std::min<double>(std::numeric_limits<int>::max(), share));
    MacInfoTrace("LumInstallationMgr::UpdateDownloadProgress total size = %d, current size = %d, pecent = %d",
                 m_dwTotalSize, m_dwDownloadedSize, percent);
    [m_pDownloadWindow setProgressValue:percent];
}

unsigned int LumInstallationMgr::CalcEstimatedTimeLeft() {
    if (m_dwDownloadSpeed == 0 || m_dwTotalSize <= m_dwDownloadedSize) {
        return 0;
    }
    return (m_dwTotalSize - m_dwDownloadedSize) / m_dwDownloadSpeed;
}

bool LumInstallationMgr::isNeedDownload() {
    if (mNeedUpdate == 0 || mCurrentUpdate != 0 || m_pDownloadWindow) {
        return false;
    }
    return !Services().IsParameter("LumSuppressProgressBar", "True");
}

void LumInstallationMgr::InitialDownloadWindow() {
    if (!IsWindowServerAvailable()) {
        return;
    }
    const base::ScopedPool pool;
    [NSApplication sharedApplication];
    const std::optional<std::string> language = Services().GetParameter("lumlocalsetting");
    m_pDownloadWindow = [[CDownloadWindow alloc] initWithInstallMgr:this];
    [m_pDownloadWindow setLanguageID:TextOrNull(language)];

    NSWindow *window = [m_pDownloadWindow window];
    [window center];
    [window makeKeyAndOrderFront:nil];
    [window setLevel:CGWindowLevelForKey(kCGFloatingWindowLevelKey)];
    BringOwnProcessToFront();
    if (const auto title = Services().GetParameter("LumProgressBarTitle")) {
        [m_pDownloadWindow setWindowTitle:[NSString stringWithUTF8String:title->c_str()]];
        [window makeKeyAndOrderFront:nil];
    }
    [window makeKeyAndOrderFront:nil];
}

void LumInstallationMgr::InitDownloadWindowProgress() {
    ++mCurrentUpdate;
    if (mNeedUpdate == 0) {
        return; // an item that was handed in without being counted
    }
    const unsigned int percent = mCurrentUpdate * 100 / mNeedUpdate;
    if (m_pDownloadWindow && m_dwTotalSize == 0) {
        [m_pDownloadWindow setProgressValue:percent];
    }
}

void LumInstallationMgr::EndDownloadProgressShowing() {
    if (!m_pDownloadWindow) {
        return;
    }
    MacInfoTrace("LumInstallationMgr::EndDownloadProgressShowing");
    [[m_pDownloadWindow window] orderOut:nil];
    [m_pDownloadWindow autorelease];
    m_pDownloadWindow = nil;
}

// Releases at once and traces nothing, unlike EndDownloadProgressShowing; both are needed, for Stop may be running
// inside the window's own action.
void LumInstallationMgr::DestoryDownloadWindow() {
    if (!m_pDownloadWindow) {
        return;
    }
    const base::ScopedPool pool;
    [[m_pDownloadWindow window] orderOut:nil];
    [m_pDownloadWindow release];
    m_pDownloadWindow = nil;
}
