// A container for tests: it answers parameters from a map, records every service call and finishes downloads when told.
// All its answers lie in one buffer, which the next service call overwrites, as it may.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "lum/lumext/lumextInterface.h"

class FakeHost {
public:
    struct Navigation {
        std::string target; // "(null)" for none
        std::string url;    // "(null)" for none
        bool operator==(const Navigation &) const = default;
    };
    struct Request {
        LUMGetFileCallback callback;
        void *context;
        std::string url;
        void Progress(unsigned int bytes) const;
        void Done(const char *path) const;
    };
    struct Install {
        std::string file;
        std::string destination;
    };

    FakeHost();
    FakeHost(const FakeHost &) = delete;
    FakeHost &operator=(const FakeHost &) = delete;

    // Sets the three parameters of the logging requests, so that they reach `navigations`.
    void EnableLog();
    // The codes of the log requests so far.
    std::vector<std::string> LogCodes() const;
    // What was opened in a frame (log requests left out).
    std::vector<Navigation> PageNavigations() const;
    // The one open request whose URL contains `part`.
    const Request &RequestFor(const std::string &part) const;

    tagLUMInterface table{};
    std::map<std::string, std::string> parameters;
    std::vector<Navigation> navigations;
    std::vector<Request> requests;
    std::vector<Install> installs;
    std::vector<std::string> messages;
    int stops = 0;
    int windowQueries = 0;
    // The result of pfnInstallFile; copies the package to the destination by default.
    std::function<int(const std::string &file, const std::string &destination)> install;

private:
    // The one that `cookie` stands for, its last answer made worthless.
    static FakeHost &Called(void *cookie);

    std::string m_answer;
};
