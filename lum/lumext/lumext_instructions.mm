// From the page's URL root to the item list: the instruction file's address, its download, its reading.
#include <cstdlib>
#include <cstring>

#include "base/Ascii.h"
#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "lum/common/ProfileMemory.h"
#include "lum/lumext/Folders.h"
#include "lum/lumext/ControllerFrame.h"
#include "lum/lumext/Guard.h"
#include "lum/lumext/lumext.h"
#include "lum/lumext/MeetingAlert.h"
#import "lum/lumext/LUMBridge.h"

namespace {

constexpr SourceUnit kSource("lum/lumext/lumext");
constexpr std::size_t kUrlRootLimit = 950;
constexpr std::size_t kIniNameLimit = 1024;
constexpr unsigned int kItemLineSize = 2048;
// A shorter value counts as missing, so a line of one character ends the list as an empty one does.
constexpr unsigned int kShortestItemLine = 2;

} // namespace

std::optional<std::string> CLumExtension::GetUrlRoot() const {
    std::optional<std::string> root = Services().GetParameter("LumUrlRoot");
    return root && root->size() < kUrlRootLimit ? root : std::nullopt;
}

bool CLumExtension::IsURLPath(const char *text) {
    const bool isUrl = text && (std::strstr(text, "https://") || std::strstr(text, "http://"));
    MacInfoTrace("CLumExtension::IsURLPath Return [%d]", isUrl);
    return isUrl;
}

bool CLumExtension::GetIniFileUrl(std::string &out) {
    if (!AssertionHolds(m_pLUMInterface != nullptr, "m_pLUMInterface", kSource)) {
        MacWarnTrace("CLumExtension::GetIniFileUrl, m_pLUMInterface is nil");
    }
    const std::optional<std::string> root = GetUrlRoot();
    if (!root) {
        ShowMessage(2);
        Stop();
        return false;
    }
    out = WithTrailingSlash(*root) + "lummac.ini";
    MacInfoTrace("GetIniFileUrl:[%s]", out.c_str());
    return true;
}

bool CLumExtension::GetIniFileNamePValue(char *dest, unsigned int size) {
    const std::optional<std::string> name = Services().GetParameter("LumIniFileName");
    MacInfoTrace("LumInifile is %s", name.value_or("").c_str());
    if (!name) {
        return false;
    }
    if (name->size() >= kIniNameLimit) {
        MacWarnTrace("Error: Invalid value of the parameter 'LumIniFileName', use default name");
        return false;
    }
    base::CopyBounded(dest, size, *name);
    return true;
}

bool CLumExtension::GetSavedIniFileName(char *dest, unsigned int size) {
    const bool given = GetIniFileNamePValue(dest, size);
    if (!given) {
        base::CopyBounded(dest, size, "lum.php");
    } else if (char *query = dest && size > 0 ? std::strchr(dest, '?') : nullptr) {
        *query = '\0';
    }
    MacInfoTrace("GetSavedIniFileName:Return = [%d],lpszResIniFileName=[%s]", given, dest && size > 0 ? dest : "");
    return given;
}

bool CLumExtension::AsyncDownloadIniFileUrl(const char *url) {
    MacInfoTrace("CLumExtension::AsyncDownloadIniFileUrl(),begin");
    std::string request;
    if (!url) {
        GetIniFileUrl(request);
    } else if (IsURLPath(url)) {
        request = "lummac.ini"; // the argument only says that a URL is wanted
    }
    if (!request.empty()) {
        request += request.back() == '?' ? "random=0" : "?random=0";
        MacInfoTrace("CLumExtension::AsyncDownloadIniFileUrl url=%s", request.c_str());
        Services().GetFile(GetIniFileCallback, this, request);
    }
    m_pluginView.Create();
    MacInfoTrace("CLumExtension::AsyncDownloadIniFileUrl(),end");
    return true;
}

bool CLumExtension::SyncDownloadIniFileUrl(char *) {
    return false;
}

bool CLumExtension::DownloadURLtoFile(const char *, const char *) {
    return false;
}

bool CLumExtension::StdDownloadExt(const char *, LUMStdDownloadCallback, void *) {
    return false;
}

void CLumExtension::GetIniFileCallback(void *, void *context, LUMGetFileNotifyMessageType type, void *data) {
    auto *pExtension = static_cast<CLumExtension *>(context);
    if (!AssertionHolds(pExtension != nullptr, "pExtension", kSource)) {
        return; // going on without the controller would crash the browser
    }
    if (pExtension->m_bStopped) {
        return; // a host without pfnStop may still report a download that is no longer wanted
    }
    const ControllerFrame frame(*pExtension);
    Guarded("CLumExtension::GetIniFileCallback", [&] { pExtension->HandleIniFileCallback(type, data); });
}

void CLumExtension::HandleIniFileCallback(LUMGetFileNotifyMessageType type, void *data) {
    if (type != LUMGetFileNotifyDone) {
        return;
    }
    MacInfoTrace("CLumExtension::HandleIniFileCallback,Begin");
    AssertionHolds(m_pLUMInterface != nullptr, "m_pLUMInterface", kSource);
    const char *path = static_cast<const char *>(data);
    m_fuzzyWindowMgr.saveLumIniFile(path);
    if (!path) {
        ShowMessage(5);
        Stop();
        MacInfoTrace("CLumExtension::HandleIniFileCallback,End 1");
        return;
    }
    InitInstallationMgr(path);
    const std::optional<std::string> component = Services().GetParameter("LumComponentName");
    if (!component) {
        ShowMessage(5);
        Stop();
        MacInfoTrace("CLumExtension::HandleIniFileCallback,End 2");
        return;
    }
    const InstructionsEnd end = RefuseSecondMeeting(*component);
    MacInfoTrace("CLumExtension::HandleIniFileCallback,End %d", static_cast<int>(end));
}

CLumExtension::InstructionsEnd CLumExtension::RefuseSecondMeeting(const std::string &component) {
    std::string installPath;
    if (CItem *item = m_installationMgr.FindItem(component.c_str())) {
        m_installationMgr.GetItemInstallPath(item, installPath);
    }
    if (installPath.empty()) {
        return InstructionsEnd::InstallationGoesOn;
    }
    if (installPath.find("replayview.bundle") != std::string::npos ||
        installPath.find("orbpfw.bundle") != std::string::npos) {
        return InstructionsEnd::PlayerMayStart; // while another one runs, too
    }
    if (!m_pluginView.IsMainComponantRunning(installPath)) {
        return InstructionsEnd::InstallationGoesOn;
    }
    const std::optional<std::string> product = Services().GetParameter("ParmProductType_Value");
    if (product && std::strtol(product->c_str(), nullptr, 10) == 1) {
        RefuseTooManyMeetings();
    } else {
        ShowMessage(24);
        Stop();
    }
    return InstructionsEnd::SecondMeetingRefused;
}

void CLumExtension::RefuseTooManyMeetings() {
    WriteErrorLog(24, nullptr);
    Stop();
    const std::optional<std::string> language = Services().GetParameter("lumlocalsetting");
    if (!ShowTooManyMeetingsAlert(TextOrNull(language))) {
        // Without a window server the host's way of telling the user is the only one.
        Services().ShowMessage(TooManyMeetingsText(TextOrNull(language)));
    }
    // The heartbeat takes the running meeting for the launched application and sends the page on.
    SetKelvoAppLaunched(true);
    [m_pBridge setLaunchFlag:YES];
}

void CLumExtension::ParseIniFile(const char *iniPath, bool suppress) {
    if (AssertionHolds(iniPath != nullptr, "lpszIniFile", kSource)) {
        WriteErrorLog(1002, nullptr);
        ReadItemLines(iniPath);
        ForgetProfile();
    } else if (const auto items = Services().GetParameter("LumDependency")) {
        m_installationMgr.ParseInstructions(items->c_str());
    }
    if (suppress) {
        m_installationMgr.SuppressInstallation();
    } else {
        m_installationMgr.PrepareInstallation(false);
    }
    if (m_fuzzyWindowMgr.isUsingFuzzyWindow()) {
        m_fuzzyWindowMgr.setTotalDownloadSize(m_installationMgr.m_dwTotalSize);
    }
    m_dwDownloadStartTick = GetTickCount();
    m_dwDownloadTotalSize = m_installationMgr.m_dwTotalSize;
}

void CLumExtension::ReadItemLines(const char *iniPath) {
    const std::string section = Services().GetParameter("LumActiveIniSection").value_or("Kelvo");
    MacInfoTrace("qxlumext64: regular sec [%s]", section.c_str());
    const int count = static_cast<int>(QXGetPrivateProfileInt(section.c_str(), "Count", 0, iniPath));
    if (count < 1) {
        MacWarnTrace("Invalid INI file format(0 files in Ini)");
        return;
    }
    MacInfoTrace("There are %d files in the file list", count);
    for (int i = 1; i <= count; ++i) {
        const std::string key = "File" + std::to_string(i);
        char line[kItemLineSize];
        if (QXGetPrivateProfileString(section.c_str(), key.c_str(), "", line, sizeof line, iniPath) <
            kShortestItemLine) {
            if (i != count) {
                MacWarnTrace("Invalid INI file format i =%d,cCount = %d", i, count);
            }
            return;
        }
        m_installationMgr.ParseItem(line, true);
        if (i == count) {
            return; // also keeps the index from overflowing at the largest count
        }
    }
}
