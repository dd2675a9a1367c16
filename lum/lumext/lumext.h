// The controller of one page instance.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "lum/launcher/CPluginView.h"
#include "lum/lumext/HostServices.h"
#include "lum/lumext/LumFuzzyWindowDelegate.h"
#include "lum/lumext/lumextInterface.h"
#include "lum/lumext/luminstallationmgr.h"
#include "lum/platform/ObjcForward.h"

// NOLINTBEGIN(readability-identifier-naming): the names are the interface's own

LUM_FORWARD_CLASS(LUMBridge);

class CLumExtension {
public:
    explicit CLumExtension(void *cookie);
    virtual ~CLumExtension();
    CLumExtension(const CLumExtension &) = delete;
    CLumExtension &operator=(const CLumExtension &) = delete;

    void InitInstance(tagLUMInterface *services);
    unsigned char HandleEvent(EventRecord *event, unsigned char flag);
    void SetWindow(_NPWindow *window);
    void HandleActionNotify(unsigned int value1, unsigned int value2);
    void Heartbeat();
    void ExitInstance();
    // The host has ended the instance; to be called within a frame. In other frames' calls nothing more is asked of the
    // host. The object is deleted when the last frame is left, and ExitInstance is called before that.
    void Leave();

    void Stop();
    void InitComponent();
    std::string GetTitle();
    void GetDefInstallDir(std::string &out);
    void InitInstallationMgr(const char *iniPath);
    void SuppressInstallationMgr();
    void SetKelvoAppLaunched(bool bKelvoAppLaunched);
    void SetKelvoPlayerLaunched(bool bKelvoPlayerLaunched);
    void SetOrbPlayerLaunched(bool bOrbPlayerLaunched);

    // The instruction file.
    bool IsURLPath(const char *text);
    bool GetIniFileUrl(std::string &out);
    bool GetIniFileNamePValue(char *dest, unsigned int size);
    bool GetSavedIniFileName(char *dest, unsigned int size);
    bool AsyncDownloadIniFileUrl(const char *url);
    bool SyncDownloadIniFileUrl(char *url);
    bool DownloadURLtoFile(const char *url, const char *file);
    bool StdDownloadExt(const char *url, LUMStdDownloadCallback callback, void *context);
    static void GetIniFileCallback(void *opaque, void *context, LUMGetFileNotifyMessageType type, void *data);
    void HandleIniFileCallback(LUMGetFileNotifyMessageType type, void *data);
    void ParseIniFile(const char *iniPath, bool suppress);

    // Packages.
    static void GetFileCallback(void *opaque, void *context, LUMGetFileNotifyMessageType type, void *data);
    void HandleGetFileCallback(CItem *item, LUMGetFileNotifyMessageType type, void *data);

    // Messages and the log.
    bool WriteErrorLog(std::int32_t code, const char *optInfo);
    bool WriteErrorLogForReportDownloadTime();
    std::string GetGMTTimeForLogEvent();
    bool SaveMsgLogToUrl(const char *lpszUrl, void *file);
    std::string LoadResourceString(int nResourceId);
    void ShowMessage(int nResourceId, ...);

    // The host's services, as the members below have them now.
    HostServices Services() const {
        return {m_pLUMInterface, m_pLUMCookie};
    }

private:
    // The states of one tick (lumext_heartbeat.mm).
    std::uint32_t PageWait() const;
    void OpenInPageFrame(const char *url) const;
    void WatchPlayer(const char *processName, void (CLumExtension::*setLaunched)(bool));
    bool WatchApplication(std::uint32_t wait);
    void AdvanceInstallation();
    void FinishDownload(const char *component);
    void OpenNextUrl();

    // The steps of reading the instructions (lumext_instructions.mm).
    std::optional<std::string> GetUrlRoot() const;
    void ReadItemLines(const char *iniPath);
    // How the reading ends when the item list is at hand; the values are those of the trace.
    enum class InstructionsEnd { PlayerMayStart = 3, SecondMeetingRefused = 4, InstallationGoesOn = 5 };
    InstructionsEnd RefuseSecondMeeting(const std::string &component);
    void RefuseTooManyMeetings();

    void InstallPackage(CItem *item, const char *file);
    void TellFailedInstallation(const CItem &item, InstallResult result);

    struct LogParameters {
        std::string url;
        std::string meeting;
        std::string session;
    };
    // Null when all three are there, otherwise the name of the first that is missing.
    const char *GetLogParameters(LogParameters &parameters) const;

public:
    void *m_pLUMCookie;
    LumInstallationMgr m_installationMgr;
    std::uint8_t m_bInstallationMgrInited = 0;
    std::uint8_t m_bStopped = 0;
    std::uint8_t m_bMainComponentReady = 0;
    std::uint8_t m_bDownloadDoneNotified = 0;
    std::uint8_t m_bSuppressInstallation = 0;
    std::uint8_t m_bReserved = 0;
    std::uint8_t m_bSkipIniParse = 0;
    CPluginView m_pluginView;
    std::uint8_t m_bExtensionChanged = 0;
    std::uint8_t m_bKelvoAppLaunched = 0;
    std::uint32_t m_dwKelvoAppLaunchTick = 0;
    std::uint8_t m_bKelvoPlayerLaunched = 0;
    std::uint32_t m_dwKelvoPlayerLaunchTick = 0;
    std::uint8_t m_bOrbPlayerLaunched = 0;
    std::uint32_t m_dwOrbPlayerLaunchTick = 0;
    tagLUMInterface *m_pLUMInterface = nullptr;
    LUMBridge *m_pBridge = nullptr;
    std::int32_t m_nMainComponentPid = -1;
    LumFuzzyWindowMgrWrapper m_fuzzyWindowMgr;
    std::uint32_t m_dwDownloadStartTick = 0;
    std::uint32_t m_dwDownloadTotalSize = 0;

private:
    friend class ControllerFrame;
    int m_nFrames = 0;
    bool m_bLeft = false;
};

// NOLINTEND(readability-identifier-naming)
