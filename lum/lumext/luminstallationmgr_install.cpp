// Installation of one downloaded package: checks, place, unpacking, the library's versioned name, the outcome.
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "lum/common/lumutil.h"
#include "lum/common/versionfordylib.h"
#include "lum/lumext/Folders.h"
#include "lum/lumext/Integrity.h"
#include "lum/lumext/lumext.h"
#include "lum/lumext/luminstallationmgr.h"

namespace {

constexpr std::size_t kPathSize = 1024;
constexpr char kLibraryExtension[] = "dylib";

enum Result {
    kInstalled = 0,
    kGeneralFailure = -3,
    kRestartAfterFailure = -4,
    kNothingToInstall = -5,
    kNoHostTable = -7,
};

// The host's unpack error as a result. That 20007 and 20009 cross is no slip: sites know the numbers so.
int ResultForUnpackError(int error) {
    switch (error) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
        return -9 - error;
    case 12:
        return -16;
    case 20009:
        return -30;
    case 20007:
        return -31;
    case 20100:
        return -32;
    default:
        return kGeneralFailure;
    }
}

bool IsWord(const std::string &text, const char *word) {
    return safe_strcasecmp(text.c_str(), word) == 0;
}

std::string ExtensionOf(const std::string &name) {
    const std::string::size_type dot = name.rfind('.');
    return dot == std::string::npos ? kLibraryExtension : name.substr(dot + 1);
}

bool IsLibrary(const std::string &extension) {
    return extension.find(kLibraryExtension) != std::string::npos;
}

// What the versions of one library have in common: the name up to its first "-" or, without one, its first ".".
std::string LibraryFamily(const std::string &name) {
    const std::string::size_type dash = name.find('-');
    return name.substr(0, dash != std::string::npos ? dash : name.find('.'));
}

// Takes the old component away in one step, under a hidden name, and removes it there: a start that is killed meanwhile
// leaves no half component that the next one would take for whole. What such a start has left goes first.
void RemoveAtOnce(const std::string &path) {
    const std::string::size_type name = path.rfind('/') + 1;
    const std::string aside = path.substr(0, name) + "." + path.substr(name) + ".old";
    RemoveFile(aside);
    if (std::rename(path.c_str(), aside.c_str()) == 0) {
        RemoveFile(aside);
    } else {
        RemoveFile(path);
    }
}

void PrepareLocation(const std::string &path, const std::string &dir, const std::string &name) {
    char buffered[kPathSize];
    std::snprintf(buffered, sizeof buffered, "%s", path.c_str());
    MakeDirectories(dir);
    RemoveAtOnce(buffered);
    const std::string extension = ExtensionOf(name);
    if (IsLibrary(extension)) {
        DeleteFiles(WithTrailingSlash(dir), LibraryFamily(name), extension);
    }
}

// libfoo.dylib of version 2,1,3,0 becomes libfoo-2.1.3.0.dylib with a link under the plain name. When one of the two
// calls fails the next look at the file finds it missing, and it is fetched again.
void GiveVersionedName(const std::string &folder, const CItem &item) {
    std::string version = item.m_strVersion;
    std::replace(version.begin(), version.end(), ',', '.');
    const std::string extension = ExtensionOf(item.m_strName);
    const std::string stem = item.m_strName.substr(0, item.m_strName.find('.'));
    const std::string link = folder + stem + "." + extension;
    const std::string real = folder + stem + "-" + version + "." + extension;
    if (std::rename(link.c_str(), real.c_str()) != 0) {
        MacWarnTrace("LumInstallationMgr::DoItemInstallation,cannot rename %s to %s", link.c_str(), real.c_str());
    }
    if (symlink(real.c_str(), link.c_str()) != 0) {
        MacWarnTrace("LumInstallationMgr::DoItemInstallation,cannot link %s to %s", link.c_str(), real.c_str());
    }
}

} // namespace

int LumInstallationMgr::DoItemInstallation(CItem *item, const char *file, bool &bNeedReboot, bool) {
    MacInfoTrace("LumInstallationMgr::DoItemInstallation");
    bNeedReboot = false;
    if (!item) {
        return kNothingToInstall;
    }
    if (!file) {
        item->m_dwState = kItemFailed;
        return kNothingToInstall;
    }
    if (HostTable()) {
        if (const int refusal = CheckIntegrity(*item, file, GetParameter("lumsitelock"), m_pRSAObject)) {
            return refusal; // the item stays pending: the extension stops over it
        }
    }
    OpenDownloadWindowOnce();

    std::string path;
    std::string dir;
    GetItemInstallPath(item, path);
    GetItemInstallDir(item, dir);
    PrepareLocation(path, dir, item->m_strName);

    const tagLUMInterface *host = HostTable();
    if (!host || !host->pfnInstallFile) {
        MacWarnTrace("LumInstallationMgr::DoItemInstallation,luminterface is nil!");
        return kNoHostTable;
    }
    const std::string folder = WithTrailingSlash(dir);
    const std::string full = folder + item->m_strName;
    const int error = host->pfnInstallFile(m_pExtension->m_pLUMCookie, file, full.c_str(), m_pExtension);
    if (error == 0 && IsLibrary(ExtensionOf(item->m_strName))) {
        GiveVersionedName(folder, *item);
    }
    if (!m_isJsonDownload) {
        InitDownloadWindowProgress();
    }
    return error == 0 ? FinishInstalled(*item, bNeedReboot) : FinishFailed(*item, full, error, bNeedReboot);
}

void LumInstallationMgr::OpenDownloadWindowOnce() {
    if (!isNeedDownload() || m_hasWriteShowDownloadWindonLog) {
        return;
    }
    if (m_pExtension) {
        m_pExtension->WriteErrorLog(1003, nullptr);
    }
    m_hasWriteShowDownloadWindonLog = 1;
    if (!m_isJsonDownload) {
        InitialDownloadWindow();
    }
}

int LumInstallationMgr::FinishInstalled(CItem &item, bool &bNeedReboot) {
    item.m_dwState = kItemFinished;
    if (IsWord(item.m_strFailureControl, "reboot")) {
        bNeedReboot = true; // such an item asks for a restart after success too
    }
    return kInstalled;
}

int LumInstallationMgr::FinishFailed(CItem &item, const std::string &path, int error, bool &bNeedReboot) {
    MacErrorTrace("LumInstallationMgr::DoItemInstallation,unpackerror=%d", error);
    RemoveFile(path);
    if (IsWord(item.m_strFailureControl, "ignore")) {
        item.m_dwState = kItemIgnored;
        return kInstalled;
    }
    item.m_dwState = kItemFailed;
    if (IsWord(item.m_strFailureControl, "reboot")) {
        bNeedReboot = true;
        return kRestartAfterFailure;
    }
    return ResultForUnpackError(error);
}

void LumInstallationMgr::GetItemInstallDir(const CItem *item, std::string &dir) {
    const std::string &target = item->m_strTarget;
    if (target.empty()) {
        dir = m_strDefInstallDir;
    } else if (target.find('/') != std::string::npos) {
        dir = target;
    } else if (IsWord(target, "%system%") || IsWord(target, "%extension%")) {
        // Refused: a page has no say over the folders of the system or of the extension.
        MacErrorTrace("LumInstallationMgr::GetItemInstallDir invalid install flag, target = %s", target.c_str());
    } else {
        dir = WithTrailingSlashOrRoot(GetApplicationSupportDirectory()) + "Kelvo Folder/";
    }
}

void LumInstallationMgr::GetItemInstallPath(const CItem *item, std::string &path) {
    std::string dir = path;
    GetItemInstallDir(item, dir);
    path = WithTrailingSlash(dir) + item->m_strName;
}

void LumInstallationMgr::GetItemUrlPath(const CItem *item, std::string &url) {
    url = WithTrailingSlash(m_strUrlRoot) + item->m_strUrl;
}
