// What the placeholder-window framework asks of the extension, and the extension's hold on the framework.
#pragma once

#include <string>

#include "fuzzywindow/LumFuzzyWindow.h"
#include "lum/lumext/lumextInterface.h"

class CLumExtension;
class CPluginView;

struct tagFuzzyWindowInstallionParam {
    tagLUMInterface *pLUMInterface;
    void *pLUMCookie;
    CLumExtension *pLumExtension;
    CPluginView *pPluginView;
};

class LumFuzzyWindowDelegate : public ILumFuzzyWindowDelegate {
public:
    LumFuzzyWindowDelegate() = default;
    void stopLum() override;
    std::string getLocailizedStringValueByKey(FUZZY_WINDOW_STRING_KEY key) override;
    std::string getFakeClientAppVersion() override;
    std::string getAppPListPath() override;
    std::string getAppLastPositionFile() override;
    std::string getDefInstallPath() override;
    std::string getLumWindowTitle() override;
    bool isLumSupportSSL() override;
    void traceInfo(const std::string &text) override;
    void traceWarning(const std::string &text) override;
    void traceError(const std::string &text) override;
    std::string sha256(const char *path) override;
    virtual ~LumFuzzyWindowDelegate() = default;

    void initWithParam(const tagFuzzyWindowInstallionParam &param);
    void checkUsingFuzzyWindow();
    bool isUsingFuzzyWindow() const;
    std::string getProductVersion();
    std::string getComponentName();
    std::string getFastJoinFlag();
    std::string getHostDisplayName();
    std::string getMeetingTopic();
    std::string getLocalizedString(const std::string &key);

    tagLUMInterface *m_pLUMInterface = nullptr;
    void *m_pLUMCookie = nullptr;
    CLumExtension *m_pLumExtension = nullptr;
    CPluginView *m_pPluginView = nullptr;
    bool m_isUsingFuzzyWindow = false;
};

class LumFuzzyWindowMgrWrapper {
public:
    LumFuzzyWindowMgrWrapper();
    ~LumFuzzyWindowMgrWrapper();
    LumFuzzyWindowMgrWrapper(const LumFuzzyWindowMgrWrapper &) = delete;
    LumFuzzyWindowMgrWrapper &operator=(const LumFuzzyWindowMgrWrapper &) = delete;

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

    LumFuzzyWindowDelegate m_lumFuzzyWindowDelegate;
    ILumFuzzyWindowManager *m_pLumFuzzyWindowMgr = nullptr;
};
