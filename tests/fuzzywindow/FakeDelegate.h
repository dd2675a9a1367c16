// A user of the framework that answers from its fields and records what it is told.
#pragma once

#include <array>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "fuzzywindow/LumFuzzyWindow.h"

struct FakeDelegate final : ILumFuzzyWindowDelegate {
    std::array<std::string, 5> texts{"Weekly planning", "Host: ", "Anna Smith", "Preparing your meeting...",
                                     "Connecting..."};
    std::string version, plistPath, positionFile, installPath, title = "Kelvo Meetings";
    bool ssl = false;
    int stops = 0;
    std::function<void()> whenStopped;
    std::vector<std::string> infos, warnings;

    void stopLum() override {
        ++stops;
        if (whenStopped) {
            whenStopped();
        }
    }
    std::string getLocailizedStringValueByKey(FUZZY_WINDOW_STRING_KEY key) override {
        return texts.at(key);
    }
    std::string getFakeClientAppVersion() override {
        return version;
    }
    std::string getAppPListPath() override {
        return plistPath;
    }
    std::string getAppLastPositionFile() override {
        return positionFile;
    }
    std::string getDefInstallPath() override {
        return installPath;
    }
    std::string getLumWindowTitle() override {
        return title;
    }
    bool isLumSupportSSL() override {
        return ssl;
    }
    void traceInfo(const std::string &text) override {
        infos.push_back(text);
    }
    void traceWarning(const std::string &text) override {
        warnings.push_back(text);
    }
    void traceError(const std::string &text) override {
        warnings.push_back(text);
    }
    // Any function of the content does: "" for no file, as the real one.
    std::string sha256(const char *path) override {
        std::ifstream stream(path, std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(stream), {}};
        return content.empty() ? "" : std::to_string(std::hash<std::string>()(content));
    }
};

struct DestroyManager {
    void operator()(ILumFuzzyWindowManager *manager) const {
        destroyLumFuzzyWindow(manager);
    }
};
using ScopedManager = std::unique_ptr<ILumFuzzyWindowManager, DestroyManager>;
