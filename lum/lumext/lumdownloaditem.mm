#include "lum/lumext/lumdownloaditem.h"

#import <Foundation/Foundation.h>

#import "base/objc/ScopedPool.h"
#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/VersionOrder.h"

namespace {

constexpr SourceUnit kSource("lum/lumext/lumdownloaditem");
constexpr int kVersionSize = 256;

} // namespace

CItem::CItem(CLumExtension *extension) : m_pExtension(extension) {}

bool CItem::IsSameFileName(const char *lpszFileName) const {
    return AssertionHolds(lpszFileName != nullptr, "lpszFileName", kSource) &&
           safe_strcasecmp(m_strName.c_str(), lpszFileName) == 0;
}

bool CItem::NeedUpdate(const char *file, char *, bool bCheckBackward) {
    const char *word = m_strUpdateControl.c_str();
    if (safe_strcasecmp(word, "version") == 0) {
        return IsVersionStale(file, bCheckBackward);
    }
    const bool presenceIsEnough = safe_strcasecmp(word, "size") == 0 || safe_strcasecmp(word, "existence") == 0;
    return !presenceIsEnough;
}

bool CItem::IsVersionStale(const std::string &file, bool bCheckBackward) const {
    MacInfoTrace("start to compare version for file %s", file.c_str());
    std::string path = file;
    char local[kVersionSize] = "";
    if (!GetFileVersionString(path.data(), local, kVersionSize)) {
        MacInfoTrace("Can not get version info for file %s", file.c_str());
        return true;
    }
    const char *server = m_strVersion.c_str();
    MacInfoTrace("file = %s, version in local = %s, version in server = %s", file.c_str(), local, server);
    if (safe_strcasecmp(local, server) == 0) {
        MacInfoTrace("UPDATEINFO: [%s] version[%s] same", file.c_str(), local);
        return false;
    }
    if (bCheckBackward) {
        MacInfoTrace("LumInstallationMgr::CItem::NeedUpdate, Need check backward compatible!");
        if (!IsOlderOrSame(file, local)) {
            MacWarnTrace("LumInstallationMgr::CItem::NeedUpdate,don't update: [%s] from version [%s] to version "
                         "[%s],because it is Backward Compatible!",
                         file.c_str(), local, server);
            return false;
        }
    }
    MacInfoTrace("UPDATEINFO: [%s] from version [%s] to version [%s]", file.c_str(), local, server);
    return true;
}

bool CItem::IsOlderOrSame(const std::string &file, const char *local) const {
    const std::optional<VersionParts> oldVersion = ParseVersion(local);
    const std::optional<VersionParts> newVersion = ParseVersion(m_strVersion);
    if (!oldVersion || !newVersion) {
        return true;
    }
    TraceVersions("LumInstallationMgr::CItem::NeedUpdate", *oldVersion, *newVersion);
    if (file.find(".dylib") != std::string::npos) {
        MacInfoTrace("LumInstallationMgr::CItem::NeedUpdate, it is dylib file!");
        return *oldVersion <= *newVersion;
    }
    // Other files rank their third and fourth parts (the build) above the first two.
    const auto buildFirst = [](const VersionParts &v) { return VersionParts{v[2], v[3], v[0], v[1]}; };
    return buildFirst(*oldVersion) <= buildFirst(*newVersion);
}

int safe_strcasecmp(const char *left, const char *right) {
    if (!left || !right) {
        return -1;
    }
    const base::ScopedPool pool;
    NSString *lowerLeft = [[NSString stringWithUTF8String:left] lowercaseString];
    NSString *lowerRight = [[NSString stringWithUTF8String:right] lowercaseString];
    return lowerLeft && lowerRight && [lowerLeft compare:lowerRight options:NSLiteralSearch] == NSOrderedSame ? 0 : -1;
}

unsigned int safe_strlen(const char *text) {
    if (!text) {
        return 0;
    }
    const base::ScopedPool pool;
    return static_cast<unsigned int>([[NSString stringWithUTF8String:text] length]);
}
