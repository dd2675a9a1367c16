#include "lum/lumext/luminstallationmgr.h"

#import <Foundation/Foundation.h>

#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/ControllerFrame.h"
#include "lum/lumext/lumext.h"
#import "lum/security/CryptoWrapper.h"

namespace {

constexpr SourceUnit kSource("lum/lumext/luminstallationmgr");

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

HostServices LumInstallationMgr::Services() const {
    return m_pExtension ? m_pExtension->Services() : HostServices(nullptr, nullptr);
}

bool LumInstallationMgr::IsStart() {
    for (const CItem *pItem : m_aItems) {
        if (AssertionHolds(pItem != nullptr, "pItem", kSource) && pItem->m_dwState != kItemNotStarted) {
            return true;
        }
    }
    return false;
}

bool LumInstallationMgr::IsDone() {
    for (const CItem *pItem : m_aItems) {
        if (AssertionHolds(pItem != nullptr, "pItem", kSource) && IsUnfinished(pItem->m_dwState)) {
            MacInfoTrace("item=%s is still installing.", pItem->m_strName.c_str());
            return false;
        }
    }
    EndDownloadProgressShowing();
    return true;
}

bool LumInstallationMgr::IsMainComponentReadyToInstall(const char *name) {
    for (const CItem *pItem : m_aItems) {
        if (!AssertionHolds(pItem != nullptr, "pItem", kSource)) {
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
        if (!AssertionHolds(pItem != nullptr, "pItem", kSource)) {
            MacErrorTrace("LumInstallationMgr::SuppressInstallation, Empty item");
            continue;
        }
        pItem->m_dwState = kItemIgnored;
    }
}

void LumInstallationMgr::Cancel() {
    std::optional<ControllerFrame> frame; // the button calls from the event loop, not through an entry point
    if (m_pExtension) {
        frame.emplace(*m_pExtension);
    }
    MacWarnTrace("LumInstallationMgr::Cancel");
    if (m_pExtension) {
        m_pExtension->Stop();
    }
    EndDownloadProgressShowing();
    Services().Stop();
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
