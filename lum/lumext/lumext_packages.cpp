// What the host reports of a package download, and what the user is told of its installation.
#include <cstdint>

#include "lum/common/lumutil.h"
#include "lum/lumext/Guard.h"
#include "lum/lumext/lumext.h"

namespace {

constexpr char kSource[] = "lum/lumext/lumext";
constexpr int kNoMessage = 0;
constexpr int kUnknownResult = -1;

// The message for a result of DoItemInstallation that ends the start.
int MessageForResult(int result) {
    switch (result) {
    case -32:
        return 7011;
    case -31:
        return 7010;
    case -30:
        return 7009;
    case -16:
        return 7008;
    case -15:
        return 7007;
    case -14:
        return 7006;
    case -13:
        return 7005;
    case -12:
        return 7004;
    case -11:
        return 7003;
    case -10:
        return 7002;
    case -8:
        return 23;
    case -7:
        return 7001;
    case -5:
    case -1:
        return 15;
    case -3:
    case -2:
        return 7;
    case -100:
        return kNoMessage;
    default:
        return kUnknownResult;
    }
}

constexpr bool IsSuccess(int result) {
    return result == 0 || result == -4;
}

} // namespace

void CLumExtension::GetFileCallback(void *, void *context, LUMGetFileNotifyMessageType type, void *data) {
    auto *pItem = static_cast<CItem *>(context);
    if (!pItem) {
        TraceAssertionFailure("pItem", kSource, __LINE__);
        return;
    }
    CLumExtension *pExtension = pItem->m_pExtension;
    if (!pExtension) {
        TraceAssertionFailure("pExtension", kSource, __LINE__);
        return;
    }
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
    const int result = m_installationMgr.DoItemInstallation(item, file, extensionChanged, false);
    if (IsSuccess(result)) {
        if (extensionChanged) {
            m_bExtensionChanged = 1;
        }
    } else if (const int message = MessageForResult(result); message == kUnknownResult) {
        TraceAssertionFailure("FALSE", kSource, __LINE__);
    } else {
        if (message != kNoMessage) {
            ShowMessage(message, item->m_strName.c_str());
        }
        if (!m_bMainComponentReady) {
            Stop();
        }
    }
    MacInfoTrace("DoItemInstall: %d, IGNORE: %d", result, 0);
    if (m_bMainComponentReady) {
        m_installationMgr.DoItemAction(item);
    }
}
