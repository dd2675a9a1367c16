#include "tests/host/LumhostRun.h"

#include <sstream>

std::vector<Json::Value> Lumhost::Events() {
    std::vector<Json::Value> events;
    std::istringstream lines(Out());
    for (std::string line; std::getline(lines, line);) {
        Json::Value event;
        std::istringstream(line) >> event;
        events.push_back(event);
    }
    return events;
}

LumhostTest::LumhostTest() {
    for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME"}) {
        unsetenv(name);
    }
    Allow(server.Url(""));
}

void LumhostTest::Allow(const std::string &site) {
    EXPECT_EQ(0, Lumhost({"allow", site}).Wait());
}

std::string LumhostTest::Page(const std::string &script, const std::string &more) const {
    return place.Write("page.html", R"(<object type="application/x-lum"><param name="LumUrlRoot" value=")" +
                                        server.Url("/kit") + R"("><param name="Record" value=")" + (place / "record") +
                                        R"("><param name="Script" value=")" + script + R"(">)" + more + "</object>");
}

std::vector<std::string> LumhostTest::Arguments(const std::string &page, std::vector<std::string> more) const {
    more.insert(more.begin(), {page, "--extension", TEST_FAKE_EXTENSION});
    return more;
}

std::vector<std::string> LumhostTest::Record() const {
    std::vector<std::string> lines;
    std::istringstream record(ReadFile(place / "record"));
    for (std::string line; std::getline(record, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool LumhostTest::WaitForRequest(const std::string &line) const {
    return WaitUntil([&] {
        for (const auto &request : server.requests()) {
            if (request.method + " " + request.path == line) {
                return true;
            }
        }
        return false;
    });
}
