#include "lum/lumext/luminstallationmgr.h"

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#include "lum/lumext/lumext.h"
#import "lum/security/CryptoWrapper.h"

namespace {

constexpr char kSource[] = "lum/lumext/luminstallationmgr";

constexpr bool IsUnfinished(std::uint32_t state) {
    return state == kItemPending || state == kItemNotStarted;
}

} // namespace

LumInstallationMgr::LumInstallationMgr(CLumExtension *extension) : m_pExtension(extension) {}

LumInstallationMgr::~LumInstallationMgr() {
    Cleanup();
}

void LumInstallationMgr::Cleanup() {
    RemoveAllItem();
    if (!m_isJsonDownload) {
        DestoryDownloadWindow();
    }
    if (m_pRSAObject) {
        if (auto freeKey = [[CryptoWrapper sharedInstance] RSA_free]) {
            freeKey(m_pRSAObject);
        }
        m_pRSAObject = nullptr;
    }
}

const char *LumInstallationMgr::GetParameter(const char *name) const {
    return m_pExtension ? m_pExtension->GetParameter(name) : nullptr;
}

tagLUMInterface *LumInstallationMgr::HostTable() const {
    return m_pExtension ? m_pExtension->m_pLUMInterface : nullptr;
}

bool LumInstallationMgr::IsStart() {
    for (const CItem *pItem : m_aItems) {
        if (!pItem) {
            TraceAssertionFailure("pItem", kSource, __LINE__);
        } else if (pItem->m_dwState != kItemNotStarted) {
            return true;
        }
    }
    return false;
}

bool LumInstallationMgr::IsDone() {
    for (const CItem *pItem : m_aItems) {
        if (!pItem) {
            TraceAssertionFailure("pItem", kSource, __LINE__);
        } else if (IsUnfinished(pItem->m_dwState)) {
            MacInfoTrace("item=%s is still installing.", pItem->m_strName.c_str());
            return false;
        }
    }
    EndDownloadProgressShowing();
    return true;
}

bool LumInstallationMgr::IsMainComponentReadyToInstall(const char *name) {
    for (const CItem *pItem : m_aItems) {
        if (!pItem) {
            TraceAssertionFailure("pItem", kSource, __LINE__);
            continue;
        }
        if (IsUnfinished(pItem->m_dwState)) {
            return false;
        }
        if (name && pItem->IsSameFileName(name)) {
            return true;
        }
    }
    return false;
}

bool LumInstallationMgr::DoActionsForMainComponent(const char *name) {
    FindItem(name); // the walk is all there is: a place for per-component actions
    return true;
}

bool LumInstallationMgr::DoActionsForBackgroundComponent(const char *name) {
    FindItem(name);
    return true;
}

void LumInstallationMgr::SuppressInstallation() {
    for (CItem *pItem : m_aItems) {
        if (!pItem) {
            TraceAssertionFailure("pItem", kSource, __LINE__);
            MacErrorTrace("LumInstallationMgr::SuppressInstallation, Empty item");
            continue;
        }
        pItem->m_dwState = kItemIgnored;
    }
}

void LumInstallationMgr::Cancel() {
    MacWarnTrace("LumInstallationMgr::Cancel");
    if (m_pExtension) {
        m_pExtension->Stop();
    }
    EndDownloadProgressShowing();
    if (const tagLUMInterface *host = HostTable(); host && host->pfnStop) {
        host->pfnStop(m_pExtension->m_pLUMCookie);
    }
    if (m_pExtension) {
        m_pExtension->WriteErrorLog(901, nullptr);
    }
    MacWarnTrace("LumInstallationMgr::Cancel called, It is cause by user click stop button in progress window");
}

bool LumInstallationMgr::DoItemAction(CItem *) {
    return true;
}

bool LumInstallationMgr::IsSystemComponent(CItem *) {
    return false;
}

bool LumInstallationMgr::AddPath(const char *) {
    return true;
}

bool LumInstallationMgr::PreparePathEnv() {
    return true;
}
