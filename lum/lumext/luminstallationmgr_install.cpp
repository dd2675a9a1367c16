// Installation of one downloaded package: checks, place, unpacking, the library's versioned name, the outcome.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>

#include "base/FileStatus.h"
#include "lum/common/lumutil.h"
#include "lum/common/versionfordylib.h"
#include "lum/lumext/Folders.h"
#include "lum/lumext/Integrity.h"
#include "lum/lumext/LibraryName.h"
#include "lum/lumext/lumext.h"
#include "lum/lumext/luminstallationmgr.h"

namespace {

constexpr std::size_t kPathSize = 1024;
struct UnpackError {
    int error; // of the host's
    InstallResult result;
};

constexpr UnpackError kUnpackErrors[] = {
    {1, InstallResult::UnpackError1},         {2, InstallResult::UnpackError2},
    {3, InstallResult::UnpackError3},         {4, InstallResult::UnpackError4},
    {5, InstallResult::UnpackError5},         {6, InstallResult::UnpackError6},
    {12, InstallResult::UnpackError12},       {20007, InstallResult::UnpackError20007},
    {20009, InstallResult::UnpackError20009}, {20100, InstallResult::UnpackError20100},
};

InstallResult ResultForUnpackError(int error) {
    const auto *const known =
        std::ranges::find_if(kUnpackErrors, [error](const UnpackError &entry) { return entry.error == error; });
    return known != std::end(kUnpackErrors) ? known->result : InstallResult::GeneralFailure;
}

// Every piece between "/" is a name: neither empty nor "." nor "..". The component would otherwise not lie in the
// install folder, or be that folder itself, and what it replaces is removed.
bool IsRealName(const std::string &name) {
    for (std::string::size_type start = 0; start <= name.size();) {
        const std::string::size_type end = std::min(name.find('/', start), name.size());
        const std::string piece = name.substr(start, end - start);
        if (piece.empty() || piece == "." || piece == "..") {
            return false;
        }
        start = end + 1;
    }
    return true;
}

bool IsWord(const std::string &text, const char *word) {
    return safe_strcasecmp(text.c_str(), word) == 0;
}

// What the removal of a component renames it to.
constexpr char kRemovedPrefix[] = ".lumext-removed-";

// Those that a killed start has left.
void RemoveLeftovers(const std::string &folder) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().filename().string().starts_with(kRemovedPrefix)) {
            std::error_code ignored;
            std::filesystem::remove_all(entry->path(), ignored);
        }
    }
}

// Renames the old component to a hidden name that is nobody else's and removes it there, so that a start killed during
// the removal does not leave half a component that the next start would take for a whole one.
void RemoveAtOnce(const std::string &path, std::set<std::string> &tidyFolders) {
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    if (tidyFolders.insert(folder).second) {
        RemoveLeftovers(folder.empty() ? "." : folder);
    }
    std::string aside;
    std::error_code error;
    if (base::IsPresent(path.c_str()) && GetTempFileName(folder, kRemovedPrefix, aside) != 0 &&
        std::rename(path.c_str(), aside.c_str()) == 0 && std::filesystem::remove_all(aside, error) > 0 && !error) {
        MacInfoTrace("RemoveFile: remove file[%s] success!", path.c_str());
        return;
    }
    RemoveFile(aside.empty() || base::IsPresent(path.c_str()) ? path : aside);
}

void PrepareLocation(const std::string &path, const std::string &dir, const std::string &name,
                     std::set<std::string> &tidyFolders) {
    char buffered[kPathSize];
    std::snprintf(buffered, sizeof buffered, "%s", path.c_str());
    MakeDirectories(dir);
    RemoveAtOnce(buffered, tidyFolders);
    if (IsInstalledAsLibrary(name)) {
        const LibraryFamily family = FamilyOfLibrary(name);
        DeleteFiles(WithTrailingSlash(dir), family.prefix, family.extension);
    }
}

bool IsLink(const std::string &path) {
    std::error_code error;
    return std::filesystem::is_symlink(std::filesystem::symlink_status(path, error));
}

// libfoo.dylib of version 2,1,3,0 becomes libfoo-2.1.3.0.dylib, with a link under the plain name. If one of the two
// calls fails, the next start finds the file missing and fetches it again.
void GiveVersionedName(const std::string &folder, const CItem &item) {
    const LibraryNames names = NamesOfInstalledLibrary(item.m_strName, item.m_strVersion);
    const std::string link = folder + names.link;
    const std::string real = folder + names.real;
    if (IsLink(link)) {
        return; // of another start, which has installed the same library in between: renamed, it would name itself
    }
    if (std::rename(link.c_str(), real.c_str()) != 0) {
        MacInfoTrace("LumInstallationMgr::DoItemInstallation,cannot rename %s to %s", link.c_str(), real.c_str());
    }
    if (symlink(real.c_str(), link.c_str()) != 0) {
        MacInfoTrace("LumInstallationMgr::DoItemInstallation,cannot link %s to %s", link.c_str(), real.c_str());
    }
}

} // namespace

std::int32_t LumInstallationMgr::DoItemInstallation(CItem *item, const char *file, bool &bNeedReboot, bool) {
    MacInfoTrace("LumInstallationMgr::DoItemInstallation");
    bNeedReboot = false;
    if (item && !file) {
        item->m_dwState = kItemFailed;
    }
    const InstallResult result = item && file ? InstallItem(*item, file, bNeedReboot) : InstallResult::NothingToInstall;
    return static_cast<std::int32_t>(result);
}

InstallResult LumInstallationMgr::InstallItem(CItem &item, const char *file, bool &bNeedReboot) {
    if (!IsRealName(item.m_strName)) {
        item.m_dwState = kItemFailed;
        return InstallResult::NothingToInstall;
    }
    // Until these checks pass the package is not opened and the installed component is not touched. Without a host
    // nothing will be unpacked, so there is nothing to check.
    if (const HostServices services = Services()) {
        const std::string siteLock = services.GetParameter("lumsitelock").value_or("1");
        if (const auto refusal = CheckIntegrity(item, file, siteLock, m_pRSAObject)) {
            return *refusal; // the item stays pending, and the extension stops
        }
    }
    OpenDownloadWindowOnce();

    // From here until the unpacking has succeeded the component is missing. A start that is killed in between leaves it
    // missing, and the next start fetches it again.
    std::string path;
    std::string dir;
    GetItemInstallPath(&item, path);
    GetItemInstallDir(&item, dir);
    PrepareLocation(path, dir, item.m_strName, m_tidyFolders);

    const std::string folder = WithTrailingSlash(dir);
    const std::string full = folder + item.m_strName;
    // The host may run its event loop during this call, so heartbeats and other downloads' callbacks can nest here.
    const std::optional<int> error = Services().InstallFile(file, full, m_pExtension);
    if (!error) {
        MacWarnTrace("LumInstallationMgr::DoItemInstallation,luminterface is nil!");
        return InstallResult::NoHostTable;
    }
    if (*error == 0 && IsInstalledAsLibrary(item.m_strName)) {
        GiveVersionedName(folder, item);
    }
    if (!m_isJsonDownload) {
        InitDownloadWindowProgress(); // for failures too: the bar shows work done, not success
    }
    return *error == 0 ? FinishInstalled(item, bNeedReboot) : FinishFailed(item, full, *error, bNeedReboot);
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

InstallResult LumInstallationMgr::FinishInstalled(CItem &item, bool &bNeedReboot) {
    item.m_dwState = kItemFinished;
    if (IsWord(item.m_strFailureControl, "reboot")) {
        bNeedReboot = true; // wanted after success too
    }
    return InstallResult::Installed;
}

InstallResult LumInstallationMgr::FinishFailed(CItem &item, const std::string &path, int error, bool &bNeedReboot) {
    MacErrorTrace("LumInstallationMgr::DoItemInstallation,unpackerror=%d", error);
    RemoveFile(path);
    if (IsWord(item.m_strFailureControl, "ignore")) {
        item.m_dwState = kItemIgnored;
        return InstallResult::Installed;
    }
    item.m_dwState = kItemFailed;
    if (IsWord(item.m_strFailureControl, "reboot")) {
        bNeedReboot = true;
        return InstallResult::RestartAfterFailure;
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
        // Refused: a page does not decide over the folders of the system or of the extension.
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
