#include "lum/lumext/lumext.h"

#include <cstdint>

#include "lum/common/lumutil.h"
#include "lum/lumext/Folders.h"
#import "lum/lumext/LUMBridge.h"

namespace {

constexpr char kSource[] = "lum/lumext/lumext";

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
    WriteErrorLog(1001, nullptr);
    if (safe_strcasecmp(GetParameter("LumSuppressInstallation"), "True") == 0) {
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
    if (!m_bSkipIniParse && !GetParameter("LumComponentName")) {
        ShowMessage(1);
        Stop();
        return;
    }
    const char *urlRoot = GetUrlRoot();
    if (!urlRoot) {
        ShowMessage(2);
        Stop();
        return;
    }
    m_installationMgr.m_strUrlRoot = urlRoot;
    GetDefInstallDir(m_installationMgr.m_strDefInstallDir);
    if (!m_bSkipIniParse) {
        ParseIniFile(iniPath, m_bSuppressInstallation);
    }
    m_bInstallationMgrInited = 1;
    MacInfoTrace("CLumExtension::InitInstallationMgr,End");
}

void CLumExtension::SuppressInstallationMgr() {
    const char *component = GetParameter("LumComponentName");
    if (!component) {
        ShowMessage(1);
        Stop();
        return;
    }
    GetDefInstallDir(m_installationMgr.m_strDefInstallDir);
    MacInfoTrace("Suppress installation:init installation manager");
    if (CItem *pItem = new (std::nothrow) CItem(this)) {
        pItem->m_strName = component;
        pItem->m_dwState = kItemIgnored;
        m_installationMgr.AddItem(pItem);
    } else {
        TraceAssertionFailure("pItem", kSource, __LINE__);
    }
    m_bInstallationMgrInited = 1;
}

void CLumExtension::GetDefInstallDir(std::string &out) {
    std::string path = GetApplicationSupportDirectory();
    if (path.empty()) {
        TraceAssertionFailure("path.length()", kSource, __LINE__);
    }
    const auto enter = [&path](const std::string &folder) {
        path = WithTrailingSlash(path) + folder;
        MakeDirectories(path);
    };
    enter("Kelvo Folder");
    if (safe_strcasecmp(GetParameter("LumComponentName"), "RMTAGMGR.DLL") == 0) {
        enter("RemoteDesk");
    } else if (const char *version = GetParameter("LumProductVersion")) {
        enter(version);
    }
    out = path;
}

std::string CLumExtension::GetTitle() {
    const char *title = GetParameter("LumMessageTitle");
    return title ? title : "Kelvo";
}

void CLumExtension::SetKelvoAppLaunched(bool bKelvoAppLaunched) {
    MacInfoTrace("CLumExtension::SetKelvoAppLaunched,bKelvoAppLaunched=%d", bKelvoAppLaunched);
    m_bKelvoAppLaunched = bKelvoAppLaunched;
    m_dwKelvoAppLaunchTick = bKelvoAppLaunched ? GetTickCount() : 0;
}

void CLumExtension::SetKelvoPlayerLaunched(bool bKelvoPlayerLaunched) {
    MacInfoTrace("CLumExtension::SetKelvoPlayerLaunched,bKelvoPlayerLaunched=%d", bKelvoPlayerLaunched);
    m_bKelvoPlayerLaunched = bKelvoPlayerLaunched;
    m_dwKelvoPlayerLaunchTick = bKelvoPlayerLaunched ? GetTickCount() : 0;
}

void CLumExtension::SetOrbPlayerLaunched(bool bOrbPlayerLaunched) {
    MacInfoTrace("CLumExtension::SetOrbPlayerLaunched,bOrbPlayerLaunched=%d", bOrbPlayerLaunched);
    m_bOrbPlayerLaunched = bOrbPlayerLaunched;
    m_dwOrbPlayerLaunchTick = bOrbPlayerLaunched ? GetTickCount() : 0;
}

const char *CLumExtension::GetParameter(const char *name) const {
    if (!m_pLUMInterface || !m_pLUMInterface->pfnGetParameter) {
        return nullptr;
    }
    return m_pLUMInterface->pfnGetParameter(m_pLUMCookie, name);
}

void CLumExtension::OpenURL(const char *target, const char *url) const {
    if (m_pLUMInterface && m_pLUMInterface->pfnOpenURL) {
        m_pLUMInterface->pfnOpenURL(m_pLUMCookie, target, url);
    }
}
