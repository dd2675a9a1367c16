#include "lum/lumext/LumFuzzyWindowDelegate.h"

#include <algorithm>
#include <cstring>

#include "base/Ascii.h"
#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "lum/launcher/CPluginView.h"
#include "lum/common/ProductTable.h"
#include "lum/lumext/ControllerFrame.h"
#include "lum/lumext/lumext.h"
#import "base/objc/ScopedPool.h"
#import "lum/security/CryptoWrapper.h"

#import <Foundation/Foundation.h>

namespace {

constexpr SourceUnit kSource("lum/lumext/LumFuzzyWindowDelegate");
constexpr char kPositionFile[] = "kelvopos.plist";

// The decoded bytes have no terminator of their own, but may hold one.
std::string TextOfBytes(NSData *data) {
    const char *bytes = static_cast<const char *>([data bytes]);
    return bytes ? std::string(bytes, strnlen(bytes, [data length])) : std::string();
}

} // namespace

// The interface is required, so its absence is the caller's mistake; it must not crash the browser.
void LumFuzzyWindowDelegate::requireInterface(int line) const {
    AssertionHolds(m_pLUMInterface != nullptr, "nil != m_pLUMInterface", kSource, line);
}

HostServices LumFuzzyWindowDelegate::services() const {
    return {m_pLUMInterface, m_pLUMCookie};
}

std::string LumFuzzyWindowDelegate::parameter(const char *name) const {
    return services().GetParameter(name).value_or("");
}

std::string LumFuzzyWindowDelegate::decodedParameter(const char *name, const char *absent) const {
    const std::optional<std::string> text = services().GetParameter(name);
    if (!text) {
        return absent;
    }
    const base::ScopedPool pool;
    return TextOfBytes([[NSString stringWithUTF8String:text->c_str()] base64Decode]);
}

void LumFuzzyWindowDelegate::initWithParam(const tagFuzzyWindowInstallionParam &param) {
    m_pLUMInterface = param.pLUMInterface;
    m_pLUMCookie = param.pLUMCookie;
    m_pLumExtension = param.pLumExtension;
    m_pPluginView = param.pPluginView;
    checkUsingFuzzyWindow();
}

void LumFuzzyWindowDelegate::checkUsingFuzzyWindow() {
    m_isUsingFuzzyWindow = false;
    if (!m_pLUMInterface || !m_pLUMCookie || !m_pPluginView) {
        return;
    }
    if (getFastJoinFlag() != "1") {
        return;
    }
    std::string component = getComponentName();
    std::transform(component.begin(), component.end(), component.begin(), base::AsciiLower);
    m_isUsingFuzzyWindow = !m_pPluginView->IsMainComponantRunning(component);
}

bool LumFuzzyWindowDelegate::isUsingFuzzyWindow() const {
    return m_isUsingFuzzyWindow;
}

void LumFuzzyWindowDelegate::stopLum() {
    if (!m_pLumExtension || !m_pLUMInterface) {
        return;
    }
    const ControllerFrame frame(*m_pLumExtension); // the window calls from the event loop, not through an entry point
    services().Stop();
    m_pLumExtension->WriteErrorLog(901, nullptr);
    m_pLumExtension->Stop();
}

std::string LumFuzzyWindowDelegate::getLocailizedStringValueByKey(FUZZY_WINDOW_STRING_KEY key) {
    switch (key) {
    case FUZZY_WINDOW_MEETING_TOPIC:
        return getMeetingTopic();
    case FUZZY_WINDOW_HOST_LABEL:
        return getLocalizedString("Host: ");
    case FUZZY_WINDOW_HOST_NAME:
        return getHostDisplayName();
    case FUZZY_WINDOW_PREPARING:
        return getLocalizedString("Preparing your meeting...");
    case FUZZY_WINDOW_CONNECTING:
        return getLocalizedString("Connecting...");
    }
    return "";
}

std::string LumFuzzyWindowDelegate::getLocalizedString(const std::string &key) {
    const base::ScopedPool pool;
    NSString *english = [NSString stringWithUTF8String:key.c_str()];
    const std::optional<std::string> language = services().GetParameter("lumlocalsetting");
    NSString *text = english ? LocalizedText(ExtensionBundle(), TextOrNull(language), english) : nil;
    return [text length] > 0 ? [text UTF8String] : key;
}

std::string LumFuzzyWindowDelegate::getProductVersion() {
    requireInterface(373);
    return parameter("LumProductVersion");
}

std::string LumFuzzyWindowDelegate::getComponentName() {
    requireInterface(368);
    return parameter("LumComponentName");
}

std::string LumFuzzyWindowDelegate::getFastJoinFlag() {
    requireInterface(363);
    return parameter("lumloadingmeetingfastflag");
}

std::string LumFuzzyWindowDelegate::getHostDisplayName() {
    requireInterface(323);
    return decodedParameter("LumHostName", "Host Name");
}

std::string LumFuzzyWindowDelegate::getMeetingTopic() {
    requireInterface(300);
    return decodedParameter("LumConfName", "Meeting Topic");
}

std::string LumFuzzyWindowDelegate::getLumWindowTitle() {
    requireInterface(224);
    return decodedParameter("LumWindowTitle", "");
}

bool LumFuzzyWindowDelegate::isLumSupportSSL() {
    requireInterface(247);
    return services().IsParameter("LumSupportSSLFlag", "1");
}

std::string LumFuzzyWindowDelegate::getFakeClientAppVersion() {
    const std::optional<std::string> build = services().GetParameter("ClientBuildVersion");
    if (!build) {
        return "";
    }
    const base::ScopedPool pool;
    NSData *decoded = [[NSString stringWithUTF8String:build->c_str()] base64Decode];
    if ([decoded length] == 0) {
        MacWarnTrace("LumFuzzyWindowDelegate::getFakeClientAppVersion,ClientBuildVersion is not base64!");
        return "";
    }
    std::string version = TextOfBytes(decoded);
    std::replace(version.begin(), version.end(), '.', '_');
    version = getProductVersion() + "_" + version;
    MacInfoTrace("LumFuzzyWindowDelegate::getFakeClientAppVersion,strFakeVersion=%s", version.c_str());
    return version;
}

std::string LumFuzzyWindowDelegate::versionFolder() {
    const base::ScopedPool pool;
    const char *path = [[ExtensionBundle() bundlePath] UTF8String];
    const std::string bundle = path ? path : "";
    const std::string::size_type slash = bundle.rfind('/');
    return slash == std::string::npos ? std::string() : bundle.substr(0, slash) + "/" + getProductVersion();
}

std::string LumFuzzyWindowDelegate::getAppPListPath() {
    const std::string folder = versionFolder();
    if (folder.empty()) {
        return "";
    }
    const MainApplication &application = MeetingApplication(parameter("ParmSiteConfigExt_Value"));
    return folder + "/" + std::string(application.processName) + ".app/Contents/Info.plist";
}

std::string LumFuzzyWindowDelegate::getAppLastPositionFile() {
    const std::string folder = versionFolder();
    return folder.empty() ? std::string() : folder + "/" + kPositionFile;
}

std::string LumFuzzyWindowDelegate::getDefInstallPath() {
    std::string path;
    if (m_pLumExtension) {
        m_pLumExtension->GetDefInstallDir(path);
    }
    return path;
}

void LumFuzzyWindowDelegate::traceInfo(const std::string &text) {
    MacInfoTrace("%s", text.c_str());
}

void LumFuzzyWindowDelegate::traceWarning(const std::string &text) {
    MacWarnTrace("%s", text.c_str());
}

void LumFuzzyWindowDelegate::traceError(const std::string &text) {
    MacErrorTrace("%s", text.c_str());
}

std::string LumFuzzyWindowDelegate::sha256(const char *path) {
    return path ? Sha256OfFile(path) : std::string();
}
