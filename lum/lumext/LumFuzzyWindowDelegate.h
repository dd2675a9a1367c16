// The placeholder window of a fast join: what its framework asks of the extension, and the extension's hold on it.
//
// When a meeting is joined by the fast path and its application does not run yet, the framework's window, which looks
// like the application starting up, is shown in place of the download window. The framework asks for what it needs
// through LumFuzzyWindowDelegate; the controller drives the framework through LumFuzzyWindowMgrWrapper.
//
// For the whole file:
// - Main thread only. Nothing is thrown.
// - The pointers of tagFuzzyWindowInstallionParam are not owned and outlive both classes' objects. Each may be null.
// - Texts are UTF-8, except those that the page gives in base64: their bytes are handed on as they are, up to the first
//   NUL. A parameter whose text is not base64 counts as one with an empty text.
// - Without a service table every page parameter is absent. The getters that read one directly trace the assertion
//   "nil != m_pLUMInterface" then.
#pragma once

#include <string>

#include "fuzzywindow/LumFuzzyWindow.h"
#include "lum/lumext/HostServices.h"

// NOLINTBEGIN(readability-identifier-naming): the names are the interface's own

class CLumExtension;
class CPluginView;

// The set-up record.
struct tagFuzzyWindowInstallionParam {
    tagLUMInterface *pLUMInterface; // the host's services
    void *pLUMCookie;               // the host's cookie, handed back on every service call
    CLumExtension *pLumExtension;   // the controller
    CPluginView *pPluginView;       // knows the main application
};

// Before initWithParam it answers as one whose pointers are all null.
class LumFuzzyWindowDelegate : public ILumFuzzyWindowDelegate {
public:
    LumFuzzyWindowDelegate() = default;

    // Ends the start: the host's activity is stopped, log event 901 is sent, the controller stops (which closes the
    // window through the manager). Nothing without a controller or a service table.
    void stopLum() override;

    // The window's texts; "" for a key that is none of the five.
    std::string getLocailizedStringValueByKey(FUZZY_WINDOW_STRING_KEY key) override;

    // "LumProductVersion" + "_" + the decoded "ClientBuildVersion", its dots as "_": 2.4 and 31.5.0 give 2.4_31_5_0.
    // "" when the page names no build, or not in base64.
    std::string getFakeClientAppVersion() override;

    // The property list of the application that this page would start: beside the extension's bundle, in the folder of
    // the product version. The join application when bit 0x4000 of "ParmSiteConfigExt_Value" is set. The file need not
    // exist. "" when the extension's code does not lie in a bundle.
    std::string getAppPListPath() override;

    // "kelvopos.plist" in that same folder; "" likewise.
    std::string getAppLastPositionFile() override;

    // The controller's default install folder, which is made when it is missing; "" without a controller.
    std::string getDefInstallPath() override;

    // The decoded "LumWindowTitle", or "".
    std::string getLumWindowTitle() override;

    // True exactly when "LumSupportSSLFlag" is "1".
    bool isLumSupportSSL() override;

    // Traces of the framework, as the extension's own. More than 4095 bytes are cut; what is not UTF-8 is dropped.
    void traceInfo(const std::string &text) override;
    void traceWarning(const std::string &text) override;
    void traceError(const std::string &text) override;

    // 64 lower-case hexadecimal digits, or "" for a file that cannot be read or is empty, and for null.
    std::string sha256(const char *path) override;

    virtual ~LumFuzzyWindowDelegate() = default;

    // Takes over the four fields and decides whether the placeholder window is used.
    void initWithParam(const tagFuzzyWindowInstallionParam &param);

    // The window is used when the page asks for the fast join ("lumloadingmeetingfastflag" is "1") and the application
    // of its component does not run. Never without service table, cookie or view.
    void checkUsingFuzzyWindow();
    // What checkUsingFuzzyWindow decided; not evaluated again.
    bool isUsingFuzzyWindow() const;

    // "LumProductVersion", "LumComponentName", "lumloadingmeetingfastflag"; "" when absent.
    std::string getProductVersion();
    std::string getComponentName();
    std::string getFastJoinFlag();

    // The decoded "LumHostName", or "Host Name"; the decoded "LumConfName", or "Meeting Topic".
    std::string getHostDisplayName();
    std::string getMeetingTopic();

    // The text in the page's language, or the key itself when the tables have no such text.
    std::string getLocalizedString(const std::string &key);

    tagLUMInterface *m_pLUMInterface = nullptr;
    void *m_pLUMCookie = nullptr;
    CLumExtension *m_pLumExtension = nullptr;
    CPluginView *m_pPluginView = nullptr;
    bool m_isUsingFuzzyWindow = false;

private:
    // Traces the assertion with this line number when there is no service table.
    void requireInterface(int line) const;
    HostServices services() const;
    // "" when the page has no such parameter.
    std::string parameter(const char *name) const;
    std::string decodedParameter(const char *name, const char *absent) const;
    // The folder of the product version beside the extension's bundle, without a "/" at its end; "" without a bundle.
    std::string versionFolder();
};

// Owns the framework's manager. Without one (before initWithParam, or when the framework could not make it) every
// operation does nothing and answers false or "". What each forwarded operation means is said at
// ILumFuzzyWindowManager.
class LumFuzzyWindowMgrWrapper {
public:
    LumFuzzyWindowMgrWrapper();
    ~LumFuzzyWindowMgrWrapper();
    LumFuzzyWindowMgrWrapper(const LumFuzzyWindowMgrWrapper &) = delete;
    LumFuzzyWindowMgrWrapper &operator=(const LumFuzzyWindowMgrWrapper &) = delete;

    // Once. The manager is made whatever the delegate decides: the saved instruction file serves any start.
    void initWithParam(const tagFuzzyWindowInstallionParam &param);
    bool isUsingFuzzyWindow() const;
    void start();
    void stop();
    void noticeDownloadSuccess();
    bool isReady();
    bool isNeedUpdateLumIni();
    std::string getSavedLumIniPath();
    void saveLumIniFile(const char *path);
    void setTotalDownloadSize(unsigned int bytes);
    void updateDownloadedSize(unsigned int bytes);

    // First, so that the wrapper's address is the address of the delegate that the framework is given.
    LumFuzzyWindowDelegate m_lumFuzzyWindowDelegate;
    ILumFuzzyWindowManager *m_pLumFuzzyWindowMgr = nullptr; // owned
};

// NOLINTEND(readability-identifier-naming)
