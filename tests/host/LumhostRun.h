// The program as a process, and a page for it whose extension does what its script says.
#pragma once

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/FaultServer.h"

// A run of the program; its output is read when it has ended.
class Lumhost : public ChildProcess {
public:
    explicit Lumhost(std::vector<std::string> arguments)
        : ChildProcess(TEST_LUMHOST, std::move(arguments), Streams::Kept) {}
    std::vector<Json::Value> Events(); // of --json
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
