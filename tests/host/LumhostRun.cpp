#include "tests/host/LumhostRun.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <sstream>

#include "tests/support/ChildProcess.h"

Lumhost::Lumhost(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TEST_LUMHOST);
    std::vector<char *> words;
    for (std::string &argument : arguments) {
        words.push_back(argument.data());
    }
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const int flags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, (m_place / "out").c_str(), flags, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, (m_place / "err").c_str(), flags, 0600);
    EXPECT_EQ(0, posix_spawn(&m_pid, TEST_LUMHOST, &actions, nullptr, words.data(), environ));
    posix_spawn_file_actions_destroy(&actions);
}

Lumhost::~Lumhost() {
    if (!m_ended) {
        Signal(SIGKILL);
        Wait();
    }
}

void Lumhost::Signal(int number) const {
    kill(m_pid, number);
}

int Lumhost::Wait() {
    if (!m_ended) {
        int status = 0;
        const auto ended = [&] { return waitpid(m_pid, &status, WNOHANG) == m_pid; };
        if (!WaitUntil(ended) && !WaitUntil(ended)) {
            ADD_FAILURE() << "lumhost does not end";
            Signal(SIGKILL);
            waitpid(m_pid, &status, 0);
        }
        m_ended = true;
        m_status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    return m_status;
}

std::string Lumhost::Out() {
    Wait();
    return OutSoFar();
}

std::string Lumhost::Err() {
    Wait();
    return ReadFile(m_place / "err");
}

std::string Lumhost::OutSoFar() const {
    return ReadFile(m_place / "out");
}

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
