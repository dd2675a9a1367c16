// One tick of the controller. It goes through these states, forwards only:
//
//   fetching instructions -> downloading -> main component ready -> launched or sent on
//          |                     |                  |
//          +---------------------+------------------+--> stopped (by a failure, or by the user)
//
// Launched applications are watched in every state; the installation advances only while it is initialised and not
// stopped. All timing is here: unsigned differences of millisecond ticks, which stay right when the counter wraps.
#include "lum/common/lumutil.h"
#include "lum/lumext/lumext.h"
#import "lum/lumext/LUMBridge.h"
#include "lum/lumext/TraceLines.h"

namespace {

constexpr std::uint32_t kDefaultWait = 200;
constexpr std::uint32_t kPageWait = 300000;

bool IsRunning(const char *processName) {
    return GetPIDForProcessName(processName) != kNoProcessId;
}

// Their downloads are not reported.
bool IsPlayer(const std::string &component) {
    for (const char *player : {"orbpfw.bundle", "replayview.bundle", "REPLAYVIEW.BUNDLE"}) {
        if (component.find(player) != std::string::npos) {
            return true;
        }
    }
    return false;
}

} // namespace

std::uint32_t CLumExtension::PageWait() const {
    if (Services().GetParameter("klvpagewaiting_value") != LUM_PAGE_WAITS) {
        return kDefaultWait;
    }
    if (m_pBridge && [m_pBridge launchFlag]) {
        MacInfoTrace("Meeting launched and join complete");
        return 0;
    }
    return kPageWait;
}

void CLumExtension::OpenInPageFrame(const char *url) const {
    const HostServices services = Services();
    services.OpenURL(services.GetParameter("szFrameName").value_or("_self").c_str(), url);
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
    const std::optional<std::string> homePage = Services().GetParameter("szHomePage");
    if (!IsRunning(processName)) {
        (this->*setLaunched)(false);
        Services().OpenURL("_self",
                           TextOrNull(homePage)); // absent: null, and the host decides what that means
        return;
    }
    // The flag stays set on purpose: this repeats on every tick until the page is replaced.
    if (homePage) {
        OpenInPageFrame(homePage->c_str());
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
    const std::optional<std::string> component = Services().GetParameter("LumComponentName");
    std::string path;
    if (CItem *item = m_installationMgr.FindItem(TextOrNull(component))) {
        m_installationMgr.GetItemInstallPath(item, path);
    }
    SetKelvoAppLaunched(false);

    const bool started =
        (component && m_pluginView.IsMainComponantRunning(path)) || (m_pBridge && [m_pBridge launchFlag]);
    if (!started) {
        ShowMessage(18, component.value_or("").c_str());
        Stop();
        return false;
    }
    // Inverted on purpose: only an empty address is opened; for any other, or none, the page's own is used.
    NSString *jumpURL = [m_pBridge jumpURL];
    if (jumpURL && [jumpURL length] == 0) {
        OpenInPageFrame("");
    } else if (const auto nextUrl = Services().GetParameter("szNextUrl")) {
        OpenInPageFrame(nextUrl->c_str());
    }
    m_pluginView.SetComponantAsFrontProcess();
    return true;
}

void CLumExtension::AdvanceInstallation() {
    const std::optional<std::string> parameter = Services().GetParameter("LumComponentName");
    const char *component = TextOrNull(parameter);
    if (!m_bMainComponentReady && m_installationMgr.IsMainComponentReadyToInstall(component)) {
        MacInfoTrace(LUM_TRACE_MAIN_READY);
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
    MacInfoTrace(LUM_TRACE_ALL_INSTALLED);
    m_bDownloadDoneNotified = 1;
    MacInfoTrace("Suppress installation:notify download completion");
    m_installationMgr.DoActionsForBackgroundComponent(component);
    if (Services().IsParameter("LumDownloadOnly", "TRUE")) {
        OpenNextUrl();
    } else {
        InitComponent();
    }
}

void CLumExtension::OpenNextUrl() {
    MacInfoTrace("Prepare to go the next URL");
    const std::optional<std::string> nextUrl = Services().GetParameter("szNextUrl");
    if (!nextUrl) {
        return;
    }
    std::string url = *nextUrl;
    url += url.find('?') == std::string::npos ? '?' : '&';
    url += m_bExtensionChanged ? "ExtensionChanged=1" : "ExtensionChanged=0";
    Services().OpenURL("_self", url.c_str());
}

void CLumExtension::InitComponent() {
    MacInfoTrace(LUM_TRACE_STARTS);
    const std::optional<std::string> parameter = Services().GetParameter("LumComponentName");
    const std::string component = parameter.value_or("");
    CItem *item = m_installationMgr.FindItem(TextOrNull(parameter));
    if (!item) {
        ShowMessage(17, component.c_str());
        Stop();
        return;
    }
    WriteErrorLog(990, nullptr);
    if (m_dwDownloadTotalSize != 0) {
        m_dwDownloadStartTick = GetTickCount() - m_dwDownloadStartTick;
        if (!IsPlayer(component)) {
            WriteErrorLogForReportDownloadTime();
        }
    }
    std::string path;
    m_installationMgr.GetItemInstallPath(item, path);
    m_pluginView.LoadMainComponant(path.c_str());
    m_pluginView.SetWindow(Services().GetWindow());
}
