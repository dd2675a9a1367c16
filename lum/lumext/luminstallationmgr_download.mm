// Downloads: asking the host for packages, accounting their bytes, showing the progress.
#import <AppKit/AppKit.h>
#include <Carbon/Carbon.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

#include "lum/common/lumutil.h"
#include "lum/lumext/lumext.h"
#include "lum/lumext/luminstallationmgr.h"
#include "lum/platform/Session.h"
#import "lum/ui/CDownloadWindow.h"

namespace {

constexpr char kSource[] = "lum/lumext/luminstallationmgr";

void BringOwnProcessToFront() {
    ProcessSerialNumber own;
    if (GetProcessForPID(getpid(), &own) == noErr) {
        SetFrontProcess(&own);
    }
}

} // namespace

void LumInstallationMgr::PrepareDownload(CItem *pItem, bool flag) {
    if (!pItem) {
        TraceAssertionFailure("pItem", kSource, __LINE__);
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
    MacInfoTrace("LumInstallationMgr::PrepareDownload Down file=%s, TotalSize=%d", url.c_str(), m_dwTotalSize);
    if (const tagLUMInterface *host = HostTable(); host && host->pfnGetFile) {
        host->pfnGetFile(m_pExtension->m_pLUMCookie, CLumExtension::GetFileCallback, pItem, url.c_str());
    }
}

void LumInstallationMgr::UpdateDownloadProgress(std::uint32_t bytes) {
    m_dwDownloadedSize += bytes;
    const std::uint32_t elapsed = CalcSequenceDistance(m_dwStartTick, GetTickCount());
    const std::uint32_t seconds = elapsed < 1000 ? 1 : elapsed / 1000;
    m_dwDownloadSpeed = m_dwDownloadedSize / seconds;
    if (m_pDownloadWindow && m_dwTotalSize != 0 && !m_isJsonDownload) {
        UpdateDownloadWindowProgress();
        ShowTimeLeft();
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

// Whole minutes, rounded up, and only when the window's text changes by it: it has one text for everything up to one
// minute, which is also the one it starts with.
void LumInstallationMgr::ShowTimeLeft() {
    const unsigned int seconds = CalcEstimatedTimeLeft();
    const unsigned int minutes = std::max(1u, seconds / 60 + (seconds % 60 != 0));
    if (minutes != m_nShownMinutes) {
        m_nShownMinutes = minutes;
        [m_pDownloadWindow setProgressTime:static_cast<int>(minutes)];
    }
}

bool LumInstallationMgr::isNeedDownload() {
    if (mNeedUpdate == 0 || mCurrentUpdate != 0 || m_pDownloadWindow) {
        return false;
    }
    const char *suppress = GetParameter("LumSuppressProgressBar");
    return !suppress || safe_strcasecmp(suppress, "True") != 0;
}

void LumInstallationMgr::InitialDownloadWindow() {
    if (!IsWindowServerAvailable()) {
        return;
    }
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    [NSApplication sharedApplication];
    const char *language = GetParameter("lumlocalsetting");
    m_pDownloadWindow = [[CDownloadWindow alloc] initWithInstallMgr:this];
    [m_pDownloadWindow setLanguageID:language];
    m_nShownMinutes = 1;

    NSWindow *window = [m_pDownloadWindow window];
    [window center];
    [window makeKeyAndOrderFront:nil];
    [window setLevel:CGWindowLevelForKey(kCGFloatingWindowLevelKey)];
    BringOwnProcessToFront();
    if (const char *title = GetParameter("LumProgressBarTitle")) {
        [m_pDownloadWindow setWindowTitle:[NSString stringWithUTF8String:title]];
        [window makeKeyAndOrderFront:nil];
    }
    [window makeKeyAndOrderFront:nil];
    [pool drain];
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
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    [[m_pDownloadWindow window] orderOut:nil];
    [m_pDownloadWindow release];
    m_pDownloadWindow = nil;
    [pool drain];
}
