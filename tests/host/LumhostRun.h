// The program as a process, and a page for it whose extension does what its script says.
#pragma once

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "tests/support/FaultServer.h"
#include "tests/support/TempDir.h"

// A run of the program; its output is read when it has ended.
class Lumhost {
public:
    explicit Lumhost(std::vector<std::string> arguments);
    ~Lumhost(); // kills it
    Lumhost(const Lumhost &) = delete;
    Lumhost &operator=(const Lumhost &) = delete;

    void Signal(int number) const;
    // Waits for its end, not for ever. The exit status, or the negative number of the signal that ended it.
    int Wait();
    std::string Out();
    std::string Err();
    std::vector<Json::Value> Events(); // of --json
    // What it has printed by now.
    std::string OutSoFar() const;

private:
    const TempDir m_place;
    pid_t m_pid = -1;
    bool m_ended = false;
    int m_status = 0;
};

class LumhostTest : public testing::Test {
protected:
    LumhostTest(); // the server's site is allowed

    static void Allow(const std::string &site);

    // A page whose extension does this; `more` stands in its object, too.
    std::string Page(const std::string &script, const std::string &more = "") const;
    std::vector<std::string> Arguments(const std::string &page, std::vector<std::string> more = {}) const;
    // What the extension has written.
    std::vector<std::string> Record() const;
    bool WaitForRequest(const std::string &line) const; // "GET /path"

    const TempDir place;
    FaultServer server;
};
