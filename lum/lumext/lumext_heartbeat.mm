// One tick of the controller. It goes through these states, forwards only:
//
//   fetching instructions -> downloading -> main component ready -> launched or sent on
//          |                     |                  |
//          +---------------------+------------------+--> stopped (by a failure, or by the user)
//
// The watches over launched applications run in every state, the installation only while it is initialised and not
// stopped. Time is looked at here and nowhere else: the differences of millisecond ticks, unsigned, so that they
// survive the counter's wrap.
#include <cstring>

#include "lum/common/lumutil.h"
#include "lum/lumext/lumext.h"
#import "lum/lumext/LUMBridge.h"

namespace {

constexpr std::uint32_t kDefaultWait = 200;
constexpr std::uint32_t kPageWait = 300000;
constexpr char kBase64True[] = "dHJ1ZQ==";

bool IsRunning(const char *processName) {
    return GetPIDForProcessName(processName) != 0xFFFFFFFFu;
}

bool Contains(const char *text, const char *part) {
    return std::strstr(text, part) != nullptr;
}

} // namespace

std::uint32_t CLumExtension::PageWait() const {
    const char *waiting = GetParameter("klvpagewaiting_value");
    if (!waiting || std::strcmp(waiting, kBase64True) != 0) {
        return kDefaultWait;
    }
    if (m_pBridge && [m_pBridge launchFlag]) {
        MacInfoTrace("Meeting launched and join complete");
        return 0;
    }
    return kPageWait;
}

const char *CLumExtension::FrameName() const {
    const char *frame = GetParameter("szFrameName");
    return frame ? frame : "_self";
}

void CLumExtension::Heartbeat() {
    const std::uint32_t wait = PageWait();
    if (m_bKelvoPlayerLaunched && GetTickCount() - m_dwKelvoPlayerLaunchTick > wait) {
        WatchPlayer("Kelvo Player", &CLumExtension::SetKelvoPlayerLaunched);
    }
    if (m_bOrbPlayerLaunched && GetTickCount() - m_dwOrbPlayerLaunchTick > wait) {
        WatchPlayer("Orb Recording Player", &CLumExtension::SetOrbPlayerLaunched);
    }
    if (m_bKelvoAppLaunched && !WatchApplication(wait)) {
        return;
    }
    if (m_bInstallationMgrInited && !m_bStopped && !m_bSkipIniParse) {
        AdvanceInstallation();
    }
}

void CLumExtension::WatchPlayer(const char *processName, void (CLumExtension::*setLaunched)(bool)) {
    const char *homePage = GetParameter("szHomePage");
    if (!IsRunning(processName)) {
        (this->*setLaunched)(false);
        OpenURL("_self", homePage); // an absent home page is passed on: the host decides what that means
        return;
    }
    // The flag stays set, so that this repeats on every tick until the page is replaced.
    if (homePage) {
        OpenURL(FrameName(), homePage);
    }
    m_pluginView.SetComponantAsFrontProcess();
}

bool CLumExtension::WatchApplication(std::uint32_t wait) {
    if (m_dwKelvoAppLaunchTick != 0 && GetTickCount() - m_dwKelvoAppLaunchTick <= wait) {
        return true;
    }
    if (m_fuzzyWindowMgr.isUsingFuzzyWindow() && !m_fuzzyWindowMgr.isReady()) {
        return true;
    }
    const char *component = GetParameter("LumComponentName");
    std::string path;
    if (CItem *item = m_installationMgr.FindItem(component)) {
        m_installationMgr.GetItemInstallPath(item, path);
    }
    SetKelvoAppLaunched(false);

    const bool started =
        (component && m_pluginView.IsMainComponantRunning(path)) || (m_pBridge && [m_pBridge launchFlag]);
    if (!started) {
        ShowMessage(18, component ? component : "");
        Stop();
        return false;
    }
    // The inversion is meant: only an empty address is opened, one that says something gives way to the page's own.
    NSString *jumpURL = [m_pBridge jumpURL];
    if (jumpURL && [jumpURL length] == 0) {
        OpenURL(FrameName(), [jumpURL UTF8String]);
    } else if (const char *nextUrl = GetParameter("szNextUrl")) {
        OpenURL(FrameName(), nextUrl);
    }
    m_pluginView.SetComponantAsFrontProcess();
    return true;
}

void CLumExtension::AdvanceInstallation() {
    const char *component = GetParameter("LumComponentName");
    if (!m_bMainComponentReady && m_installationMgr.IsMainComponentReadyToInstall(component)) {
        MacInfoTrace("Main component is ready to be loaded");
        m_bMainComponentReady = 1;
        m_installationMgr.DoActionsForMainComponent(component);
    }
    if (m_bMainComponentReady && !m_bDownloadDoneNotified && m_installationMgr.IsDone()) {
        FinishDownload(component);
    }
}

void CLumExtension::FinishDownload(const char *component) {
    if (m_fuzzyWindowMgr.isUsingFuzzyWindow()) {
        m_fuzzyWindowMgr.noticeDownloadSuccess();
    }
    MacInfoTrace("Download is done");
    m_bDownloadDoneNotified = 1;
    MacInfoTrace("Suppress installation:notify download completion");
    m_installationMgr.DoActionsForBackgroundComponent(component);
    if (safe_strcasecmp(GetParameter("LumDownloadOnly"), "TRUE") == 0) {
        OpenNextUrl();
    } else {
        InitComponent();
    }
}

void CLumExtension::OpenNextUrl() {
    MacInfoTrace("Prepare to go the next URL");
    const char *nextUrl = GetParameter("szNextUrl");
    if (!nextUrl) {
        return;
    }
    std::string url = nextUrl;
    url += url.find('?') == std::string::npos ? '?' : '&';
    url += m_bExtensionChanged ? "ExtensionChanged=1" : "ExtensionChanged=0";
    OpenURL("_self", url.c_str());
}

void CLumExtension::InitComponent() {
    MacInfoTrace("Init the main component...");
    const char *parameter = GetParameter("LumComponentName");
    const std::string component = parameter ? parameter : "";
    CItem *item = m_installationMgr.FindItem(parameter);
    if (!item) {
        ShowMessage(17, component.c_str());
        Stop();
        return;
    }
    WriteErrorLog(990, nullptr);
    if (m_dwDownloadTotalSize != 0) {
        m_dwDownloadStartTick = GetTickCount() - m_dwDownloadStartTick;
        if (!Contains(component.c_str(), "orbpfw.bundle") && !Contains(component.c_str(), "replayview.bundle") &&
            !Contains(component.c_str(), "REPLAYVIEW.BUNDLE")) {
            WriteErrorLogForReportDownloadTime();
        }
    }
    std::string path;
    m_installationMgr.GetItemInstallPath(item, path);
    m_pluginView.LoadMainComponant(path.c_str());
    _NPWindow *window = nullptr;
    if (m_pLUMInterface && m_pLUMInterface->pfnGetWindow) {
        window = m_pLUMInterface->pfnGetWindow(m_pLUMCookie);
    }
    m_pluginView.SetWindow(window);
}
