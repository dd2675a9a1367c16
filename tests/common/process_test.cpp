#include <gmock/gmock.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "lum/common/lumutil.h"
#include "tests/support/TempDir.h"

extern char **environ;

using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

// A program of the given file name that waits until the object goes.
class Waiting {
public:
    explicit Waiting(const std::string &path) {
        if (!std::filesystem::exists(path)) {
            std::filesystem::copy_file("/bin/sleep", path);
        }
        std::string name = path;
        char seconds[] = "600";
        char *arguments[] = {name.data(), seconds, nullptr};
        EXPECT_EQ(posix_spawn(&m_pid, path.c_str(), nullptr, nullptr, arguments, environ), 0);
    }

    ~Waiting() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }

    unsigned int pid() const { return static_cast<unsigned int>(m_pid); }

private:
    pid_t m_pid = 0;
};

constexpr unsigned int kNone = 0xFFFFFFFF;

} // namespace

TEST(Processes, ApplicationByName) {
    const TempDir dir;
    const std::string name = "Sample Application " + std::to_string(getpid());
    EXPECT_EQ(GetPIDForProcessName(name.c_str()), kNone);
    {
        const Waiting first(dir / name);
        EXPECT_EQ(GetPIDForProcessName(name.c_str()), first.pid());
        EXPECT_EQ(GetPIDForProcessName(("sAMPLE aPPLICATION " + std::to_string(getpid())).c_str()), first.pid());
        EXPECT_EQ(GetPIDForProcessName((name + "x").c_str()), kNone);
        EXPECT_EQ(GetPIDForProcessName(name.substr(0, 15).c_str()), kNone);
    }
    EXPECT_EQ(GetPIDForProcessName(name.c_str()), kNone);
    EXPECT_EQ(GetPIDForProcessName(""), kNone);
    EXPECT_EQ(GetPIDForProcessName(nullptr), kNone);
}

TEST(Processes, AllOfACommandName) {
    const TempDir dir;
    const std::string name = "Lum" + std::to_string(getpid());
    std::array<unsigned int, 3> pids{7, 7, 7};
    unsigned int count = 9;
    int error = 9;
    EXPECT_EQ(GetAllPIDsForProcessName(name.c_str(), pids.data(), 3, &count, &error), -1);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(error, 0);
    EXPECT_THAT(pids, ElementsAre(0, 0, 0));

    const Waiting first(dir / name);
    const Waiting second(dir / name);
    const Waiting otherCase(dir / ("lum" + std::to_string(getpid())));
    EXPECT_EQ(GetAllPIDsForProcessName(name.c_str(), pids.data(), 3, &count, nullptr), 0);
    EXPECT_EQ(count, 2U);
    EXPECT_THAT(pids, UnorderedElementsAre(first.pid(), second.pid(), 0));

    pids = {7, 7, 7};
    EXPECT_EQ(GetAllPIDsForProcessName(name.c_str(), pids.data(), 1, &count, &error), -5);
    EXPECT_EQ(count, 1U);
    EXPECT_THAT(pids, ElementsAre(testing::AnyOf(first.pid(), second.pid()), 7, 7));
}

TEST(Processes, MissingArguments) {
    unsigned int pids[] = {7};
    unsigned int count = 7;
    int error = 7;
    EXPECT_EQ(GetAllPIDsForProcessName(nullptr, pids, 1, &count, &error), -2);
    EXPECT_EQ(GetAllPIDsForProcessName("x", nullptr, 1, &count, &error), -2);
    EXPECT_EQ(GetAllPIDsForProcessName("x", pids, 0, &count, &error), -2);
    EXPECT_EQ(GetAllPIDsForProcessName("x", pids, 1, nullptr, &error), -2);
    EXPECT_THAT((std::array{pids[0], count, static_cast<unsigned int>(error)}), ElementsAre(7, 7, 7));
}
