// Which items to fetch: the walk over the list and its decisions.
#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "lum/common/versionfordylib.h"
#include "lum/lumext/Folders.h"
#include "lum/lumext/LibraryName.h"
#include "lum/lumext/lumext.h"
#include "lum/lumext/luminstallationmgr.h"
#include "lum/lumext/VersionOrder.h"

namespace {

constexpr SourceUnit kSource("lum/lumext/luminstallationmgr");

// An installed copy of this library is newer than the one offered, so it stays: what needs the offered one runs with
// it.
bool HasNewerCopy(const CItem &item, const std::string &path) {
    MacInfoTrace("LumInstallationMgr::PrepareInstallation, it is dylib file and need check backwardcompatible!");
    std::string local;
    if (!GetVersionFromDylib(path, local, nullptr)) {
        MacWarnTrace("LumInstallationMgr::PrepareInstallation, can not get local dylib version, need update!");
        return false;
    }
    const std::optional<VersionParts> oldVersion = ParseVersion(local);
    const std::optional<VersionParts> newVersion = ParseVersion(item.m_strVersion);
    if (!oldVersion || !newVersion) {
        return false;
    }
    TraceVersions("LumInstallationMgr::PrepareInstallation", *oldVersion, *newVersion);
    if (*oldVersion <= *newVersion) {
        MacWarnTrace("LumInstallationMgr::PrepareInstallation, local dylib version is lower,need update!");
        return false;
    }
    MacInfoTrace("LumInstallationMgr::PrepareInstallation, high version file is exit,so don't update!");
    return true;
}

} // namespace

bool LumInstallationMgr::PrepareInstallation(bool bNoDownload) {
    const bool bBackward = IsBackwardCompatible();
    for (std::size_t i = 0; i < m_aItems.size(); ++i) {
        MacInfoTrace("Count=%d, item=%d", static_cast<int>(m_aItems.size()), static_cast<int>(i));
        CItem *pItem = m_aItems[i];
        if (!AssertionHolds(pItem != nullptr, "pItem", kSource)) {
            continue;
        }
        if (!IsUpdateNeeded(*pItem, bBackward)) {
            pItem->m_dwState = kItemFinished;
            continue;
        }
        ++mNeedUpdate;
        VerifyCertification();
        pItem->m_dwState = kItemPending;
        // A host may report a failure from within the request; nothing more is wanted then.
        const bool stopped = m_pExtension && m_pExtension->m_bStopped;
        if (!bNoDownload && !stopped) {
            PrepareDownload(pItem, false);
        }
    }
    return true;
}

bool LumInstallationMgr::IsUpdateNeeded(CItem &item, bool bBackward) {
    std::string path;
    GetItemInstallPath(&item, path);
    bool isLibrary = false;
    if (IsLookedForAsLibrary(path)) {
        std::string dir;
        GetItemInstallDir(&item, dir);
        path = WithTrailingSlashOrRoot(dir) + NameOfLibraryLookedFor(item.m_strName, item.m_strVersion);
        MacInfoTrace("LumInstallationMgr::PrepareInstallation,real file is %s", path.c_str());
        isLibrary = true;
    }
    if (FileExists(path)) {
        if (!item.NeedUpdate(path.c_str(), nullptr, bBackward)) {
            return false;
        }
        MacWarnTrace("LumInstallationMgr::PrepareInstallation,%s need update!", path.c_str());
        return true;
    }
    MacInfoTrace("LumInstallationMgr::PrepareInstallation,%s is not exist!", path.c_str());
    return !(bBackward && isLibrary && HasNewerCopy(item, path));
}

bool LumInstallationMgr::IsBackwardCompatible() {
    const std::string component = Services().GetParameter("LumComponentName").value_or("");
    if (component.find("orbpfw.bundle") == std::string::npos) {
        return false;
    }
    MacInfoTrace("LumInstallationMgr::IsBackwardCompatible,it is backward compatible!");
    return true;
}
