// What the host reports of a package download, and what the user is told of its installation.
#include <algorithm>
#include <cstdint>
#include <iterator>

#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/ControllerFrame.h"
#include "lum/lumext/Guard.h"
#include "lum/lumext/InstallResult.h"
#include "lum/lumext/lumext.h"

namespace {

constexpr SourceUnit kSource("lum/lumext/lumext");
constexpr int kNoMessage = 0;

struct ResultMessage {
    InstallResult result;
    int message;
};

// The messages for the results that end the start.
constexpr ResultMessage kMessages[] = {
    {InstallResult::UnpackError20100, 7011},    {InstallResult::UnpackError20007, 7010},
    {InstallResult::UnpackError20009, 7009},    {InstallResult::UnpackError12, 7008},
    {InstallResult::UnpackError6, 7007},        {InstallResult::UnpackError5, 7006},
    {InstallResult::UnpackError4, 7005},        {InstallResult::UnpackError3, 7004},
    {InstallResult::UnpackError2, 7003},        {InstallResult::UnpackError1, 7002},
    {InstallResult::NotAuthentic, 23},          {InstallResult::NoHostTable, 7001},
    {InstallResult::NothingToInstall, 15},      {InstallResult::Unused1, 15},
    {InstallResult::GeneralFailure, 7},         {InstallResult::Unused2, 7},
    {InstallResult::SilentFailure, kNoMessage},
};

constexpr bool IsSuccess(InstallResult result) {
    return result == InstallResult::Installed || result == InstallResult::RestartAfterFailure;
}

} // namespace

void CLumExtension::GetFileCallback(void *, void *context, LUMGetFileNotifyMessageType type, void *data) {
    auto *pItem = static_cast<CItem *>(context);
    if (!AssertionHolds(pItem != nullptr, "pItem", kSource)) {
        return;
    }
    CLumExtension *pExtension = pItem->m_pExtension;
    if (!AssertionHolds(pExtension != nullptr, "pExtension", kSource)) {
        return;
    }
    const ControllerFrame frame(*pExtension);
    Guarded("CLumExtension::GetFileCallback", [&] { pExtension->HandleGetFileCallback(pItem, type, data); });
}

void CLumExtension::HandleGetFileCallback(CItem *item, LUMGetFileNotifyMessageType type, void *data) {
    if (m_bStopped) {
        return;
    }
    if (type == LUMGetFileNotifyProgress) {
        const auto bytes = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(data));
        m_installationMgr.UpdateDownloadProgress(bytes);
        if (m_fuzzyWindowMgr.isUsingFuzzyWindow()) {
            m_fuzzyWindowMgr.updateDownloadedSize(bytes);
        }
        return;
    }
    if (type != LUMGetFileNotifyDone) {
        return;
    }
    if (!data) {
        ShowMessage(6, item->m_strUrl.c_str());
        Stop();
        return;
    }
    InstallPackage(item, static_cast<const char *>(data));
}

void CLumExtension::InstallPackage(CItem *item, const char *file) {
    bool extensionChanged = false;
    const std::int32_t result = m_installationMgr.DoItemInstallation(item, file, extensionChanged, false);
    if (!IsSuccess(InstallResult{result})) {
        TellFailedInstallation(*item, InstallResult{result});
    } else if (extensionChanged) {
        m_bExtensionChanged = 1;
    }
    MacInfoTrace("DoItemInstall: %d, IGNORE: %d", result, 0);
    if (m_bMainComponentReady) {
        m_installationMgr.DoItemAction(item);
    }
}

void CLumExtension::TellFailedInstallation(const CItem &item, InstallResult result) {
    const auto *const known =
        std::ranges::find_if(kMessages, [&](const ResultMessage &entry) { return entry.result == result; });
    if (!AssertionHolds(known != std::end(kMessages), "FALSE", kSource)) {
        return;
    }
    if (known->message != kNoMessage) {
        ShowMessage(known->message, item.m_strName.c_str());
    }
    if (!m_bMainComponentReady) {
        Stop();
    }
}
