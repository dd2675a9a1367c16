// The installation manager: the item list, what of it to fetch, the downloads, the verified installation.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "lum/lumext/HostServices.h"
#include "lum/lumext/InstallResult.h"
#include "lum/lumext/lumdownloaditem.h"
#include "lum/platform/ObjcForward.h"

// NOLINTBEGIN(readability-identifier-naming): the names are the interface's own

LUM_FORWARD_CLASS(CDownloadWindow);
class CLumExtension;
struct rsa_st;

class LumInstallationMgr {
public:
    explicit LumInstallationMgr(CLumExtension *extension);
    virtual ~LumInstallationMgr();
    LumInstallationMgr(const LumInstallationMgr &) = delete;
    LumInstallationMgr &operator=(const LumInstallationMgr &) = delete;

    // The item list.
    bool ParseInstructions(const char *lpszInstructions);
    bool ParseItem(const char *lpszItem, bool flag);
    bool AddItem(CItem *item);
    CItem *FindItem(const char *name);
    void RemoveAllItem();

    // What to fetch.
    bool PrepareInstallation(bool bNoDownload);
    bool IsBackwardCompatible();
    bool IsMainComponentReadyToInstall(const char *name);
    bool DoActionsForMainComponent(const char *name);
    bool DoActionsForBackgroundComponent(const char *name);
    void VerifyCertification();

    // Downloads and their progress.
    void PrepareDownload(CItem *pItem, bool flag);
    void UpdateDownloadProgress(std::uint32_t bytes);
    unsigned int CalcEstimatedTimeLeft();
    bool isNeedDownload();
    bool IsStart();
    bool IsDone();
    void Cancel();
    void SuppressInstallation();
    void Cleanup();

    // The progress window.
    void InitialDownloadWindow();
    void InitDownloadWindowProgress();
    void UpdateDownloadWindowProgress();
    void EndDownloadProgressShowing();
    void DestoryDownloadWindow();

    // Installation of one item.
    //
    // Checks the downloaded package `file`, prepares its place, has the host unpack it, and returns an InstallResult's
    // value. Nothing on the disk is touched before the checks have passed. The item's state tells the outcome too; it
    // stays pending when the checks refuse the package, so that the list is not done before the extension stops.
    // `bNeedReboot` is cleared, then set when the item asks for a restart. The last argument is not used.
    std::int32_t DoItemInstallation(CItem *item, const char *file, bool &bNeedReboot, bool flag);
    void GetItemInstallDir(const CItem *item, std::string &dir);
    void GetItemInstallPath(const CItem *item, std::string &path);
    void GetItemUrlPath(const CItem *item, std::string &url);
    bool DoItemAction(CItem *item);
    bool IsSystemComponent(CItem *item);
    bool AddPath(const char *text);
    bool PreparePathEnv();

private:
    HostServices Services() const;
    InstallResult InstallItem(CItem &item, const char *file, bool &bNeedReboot);
    bool IsUpdateNeeded(CItem &item, bool bBackward);
    void OpenDownloadWindowOnce();
    static InstallResult FinishInstalled(CItem &item, bool &bNeedReboot);
    static InstallResult FinishFailed(CItem &item, const std::string &path, int error, bool &bNeedReboot);

    // Those whose leftovers of killed starts are gone: a folder with many components is searched for them once.
    std::set<std::string> m_tidyFolders;

public:
    std::uint8_t m_hasWriteShowDownloadWindonLog = 0;
    CLumExtension *m_pExtension;
    std::uint8_t m_isJsonDownload = 0;
    std::string m_strUrlRoot;
    std::string m_strDefInstallDir;
    std::string m_aPaths;
    std::uint32_t m_dwTotalSize = 0;
    std::uint32_t m_dwDownloadedSize = 0;
    std::uint32_t m_dwDownloadSpeed = 0;
    std::uint32_t m_dwStartTick = 0;
    std::uint32_t mNeedUpdate = 0;
    std::uint32_t mCurrentUpdate = 0;
    std::vector<CItem *> m_aItems;
    CDownloadWindow *m_pDownloadWindow = nullptr;
    rsa_st *m_pRSAObject = nullptr;
};

// NOLINTEND(readability-identifier-naming)
