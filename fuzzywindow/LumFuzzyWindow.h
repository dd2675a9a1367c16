// The placeholder-window framework: a window that looks like the meeting application starting up.
#pragma once

#include <string>

#define LUM_FUZZY_EXPORT __attribute__((visibility("default")))

enum FUZZY_WINDOW_STRING_KEY {
    FUZZY_WINDOW_MEETING_TOPIC = 0,
    FUZZY_WINDOW_HOST_LABEL = 1,
    FUZZY_WINDOW_HOST_NAME = 2,
    FUZZY_WINDOW_PREPARING = 3,
    FUZZY_WINDOW_CONNECTING = 4,
};

class ILumFuzzyWindowDelegate {
public:
    virtual void stopLum() = 0;
    virtual std::string getLocailizedStringValueByKey(FUZZY_WINDOW_STRING_KEY key) = 0;
    virtual std::string getFakeClientAppVersion() = 0;
    virtual std::string getAppPListPath() = 0;
    virtual std::string getAppLastPositionFile() = 0;
    virtual std::string getDefInstallPath() = 0;
    virtual std::string getLumWindowTitle() = 0;
    virtual bool isLumSupportSSL() = 0;
    virtual void traceInfo(const std::string &text) = 0;
    virtual void traceWarning(const std::string &text) = 0;
    virtual void traceError(const std::string &text) = 0;
    virtual std::string sha256(const char *path) = 0;
};

class ILumFuzzyWindowManager {
public:
    virtual void start() = 0;
    virtual void stop() = 0;
    virtual void noticeDownloadSuccess() = 0;
    virtual bool isReady() = 0;
    virtual bool isNeedUpdateLumIni() = 0;
    virtual std::string getSavedLumIniPath() = 0;
    virtual void saveLumIniFile(const char *path) = 0;
    virtual void setTotalDownloadSize(unsigned int bytes) = 0;
    virtual void updateDownloadedSize(unsigned int bytes) = 0;
};

extern "C" LUM_FUZZY_EXPORT ILumFuzzyWindowManager *createLumFuzzyWindow(ILumFuzzyWindowDelegate *delegate);
extern "C" LUM_FUZZY_EXPORT void destroyLumFuzzyWindow(ILumFuzzyWindowManager *manager);
