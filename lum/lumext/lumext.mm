#include "lum/lumext/lumext.h"

#include <cstdint>

#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/Folders.h"
#import "lum/lumext/LUMBridge.h"
#include "lum/lumext/TraceLines.h"
#include "lum/platform/Session.h"

namespace {

constexpr SourceUnit kSource("lum/lumext/lumext");

// The trace prints the low 32 bits: enough to tell instances apart.
unsigned int Identity(const CLumExtension *extension) {
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(extension));
}

} // namespace

CLumExtension::CLumExtension(void *cookie) : m_pLUMCookie(cookie), m_installationMgr(this), m_pluginView(this) {
    m_pBridge = [[LUMBridge alloc] initWithReceiver:this];
    CPluginView::Initialize();
    MacInfoTrace("CLumExtension::CLumExtension(), this = 0x%x", Identity(this));
}

CLumExtension::~CLumExtension() {
    [m_pBridge release];
    m_pBridge = nil;
    MacInfoTrace("CLumExtension::~CLumExtension(), this = 0x%x", Identity(this));
}

void CLumExtension::InitInstance(tagLUMInterface *services) {
    MacInfoTrace("CLumExtension::InitInstance(),begin");
    m_pLUMInterface = services;
    UseLookOfBundle(ExtensionBundle());
    WriteErrorLog(1001, nullptr);
    if (Services().IsParameter("LumSuppressInstallation", "True")) {
        m_bSuppressInstallation = 1;
    }

    m_fuzzyWindowMgr.initWithParam({m_pLUMInterface, m_pLUMCookie, this, &m_pluginView});
    if (m_fuzzyWindowMgr.isUsingFuzzyWindow()) {
        m_fuzzyWindowMgr.start();
        m_installationMgr.m_isJsonDownload = 1;
    } else {
        m_installationMgr.m_isJsonDownload = 0;
    }

    if (!m_fuzzyWindowMgr.isNeedUpdateLumIni()) {
        std::string saved = m_fuzzyWindowMgr.getSavedLumIniPath();
        HandleIniFileCallback(LUMGetFileNotifyDone, saved.data());
    } else {
        AsyncDownloadIniFileUrl(nullptr);
    }
    MacInfoTrace("CLumExtension::InitInstance(),end");
}

unsigned char CLumExtension::HandleEvent(EventRecord *event, unsigned char flag) {
    return event ? m_pluginView.Handle_Event(*event, flag) : 0;
}

void CLumExtension::SetWindow(_NPWindow *window) {
    m_pluginView.SetWindow(window);
}

void CLumExtension::HandleActionNotify(unsigned int, unsigned int) {}

void CLumExtension::ExitInstance() {
    m_installationMgr.Cleanup();
    m_fuzzyWindowMgr.stop();
    m_pluginView.UnloadMainComponant();
}

void CLumExtension::Stop() {
    if (m_fuzzyWindowMgr.isUsingFuzzyWindow()) {
        m_fuzzyWindowMgr.stop();
    }
    m_bStopped = 1;
}

void CLumExtension::InitInstallationMgr(const char *iniPath) {
    MacInfoTrace("CLumExtension::InitInstallationMgr,Begin");
    if (!m_bSkipIniParse && !Services().GetParameter("LumComponentName")) {
        ShowMessage(1);
        Stop();
        return;
    }
    const std::optional<std::string> urlRoot = GetUrlRoot();
    if (!urlRoot) {
        ShowMessage(2);
        Stop();
        return;
    }
    m_installationMgr.m_strUrlRoot = *urlRoot;
    GetDefInstallDir(m_installationMgr.m_strDefInstallDir);
    if (!m_bSkipIniParse) {
        ParseIniFile(iniPath, m_bSuppressInstallation);
    }
    m_bInstallationMgrInited = 1;
    MacInfoTrace("CLumExtension::InitInstallationMgr,End");
}

void CLumExtension::SuppressInstallationMgr() {
    const std::optional<std::string> component = Services().GetParameter("LumComponentName");
    if (!component) {
        ShowMessage(1);
        Stop();
        return;
    }
    GetDefInstallDir(m_installationMgr.m_strDefInstallDir);
    MacInfoTrace("Suppress installation:init installation manager");
    CItem *pItem = new (std::nothrow) CItem(this);
    if (AssertionHolds(pItem != nullptr, "pItem", kSource)) {
        pItem->m_strName = *component;
        pItem->m_dwState = kItemIgnored;
        m_installationMgr.AddItem(pItem);
    }
    m_bInstallationMgrInited = 1;
}

void CLumExtension::GetDefInstallDir(std::string &out) {
    std::string path = GetApplicationSupportDirectory();
    AssertionHolds(!path.empty(), "path.length()", kSource);
    const auto enter = [&path](const std::string &folder) {
        path = WithTrailingSlash(path) + folder;
        MakeDirectories(path);
    };
    enter("Kelvo Folder");
    if (Services().IsParameter("LumComponentName", "RMTAGMGR.DLL")) {
        enter("RemoteDesk");
    } else if (const auto version = Services().GetParameter("LumProductVersion")) {
        enter(*version);
    }
    out = path;
}

std::string CLumExtension::GetTitle() {
    return Services().GetParameter("LumMessageTitle").value_or("Kelvo");
}

void CLumExtension::SetKelvoAppLaunched(bool bKelvoAppLaunched) {
    MacInfoTrace(LUM_TRACE_APPLICATION_LAUNCHED, bKelvoAppLaunched);
    m_bKelvoAppLaunched = bKelvoAppLaunched;
    m_dwKelvoAppLaunchTick = bKelvoAppLaunched ? GetTickCount() : 0;
}

void CLumExtension::SetKelvoPlayerLaunched(bool bKelvoPlayerLaunched) {
    MacInfoTrace(LUM_TRACE_PLAYER_LAUNCHED, bKelvoPlayerLaunched);
    m_bKelvoPlayerLaunched = bKelvoPlayerLaunched;
    m_dwKelvoPlayerLaunchTick = bKelvoPlayerLaunched ? GetTickCount() : 0;
}

void CLumExtension::SetOrbPlayerLaunched(bool bOrbPlayerLaunched) {
    MacInfoTrace(LUM_TRACE_ORB_PLAYER_LAUNCHED, bOrbPlayerLaunched);
    m_bOrbPlayerLaunched = bOrbPlayerLaunched;
    m_dwOrbPlayerLaunchTick = bOrbPlayerLaunched ? GetTickCount() : 0;
}
