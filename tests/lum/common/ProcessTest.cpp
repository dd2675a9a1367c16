#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "lum/common/lumutil.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

// A program of this file name that waits.
std::string WaitingProgram(const TempDir &dir, const std::string &name) {
    std::filesystem::copy_file("/bin/sleep", dir / name);
    return dir / name;
}

unsigned int Id(const ChildProcess &process) {
    return static_cast<unsigned int>(process.pid());
}

constexpr unsigned int kNone = 0xFFFFFFFF;

} // namespace

TEST(Processes, ApplicationByName) {
    const TempDir dir;
    const std::string name = "Sample Application " + std::to_string(getpid());
    EXPECT_EQ(GetPIDForProcessName(name.c_str()), kNone);
    {
        const ChildProcess first(WaitingProgram(dir, name), {"600"});
        EXPECT_EQ(GetPIDForProcessName(name.c_str()), Id(first));
        EXPECT_EQ(GetPIDForProcessName(("sAMPLE aPPLICATION " + std::to_string(getpid())).c_str()), Id(first));
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

    const std::string program = WaitingProgram(dir, name);
    const ChildProcess first(program, {"600"});
    const ChildProcess second(program, {"600"});
    const ChildProcess otherCase(WaitingProgram(dir, "lum" + std::to_string(getpid())), {"600"});
    EXPECT_EQ(GetAllPIDsForProcessName(name.c_str(), pids.data(), 3, &count, nullptr), 0);
    EXPECT_EQ(count, 2U);
    EXPECT_THAT(pids, UnorderedElementsAre(Id(first), Id(second), 0));

    pids = {7, 7, 7};
    EXPECT_EQ(GetAllPIDsForProcessName(name.c_str(), pids.data(), 1, &count, &error), -5);
    EXPECT_EQ(count, 1U);
    EXPECT_THAT(pids, ElementsAre(testing::AnyOf(Id(first), Id(second)), 7, 7));
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
