#include "base/Processes.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include "tests/support/ChildProcess.h"

using base::ParseProcessStatus;
using base::StatusOfProcess;

TEST(ProcessStatus, IsThatOfTheProcess) {
    const auto self = StatusOfProcess(getpid());
    ASSERT_TRUE(self);
    EXPECT_EQ(self->parent, getppid());
    EXPECT_EQ(self->state, 'R');
    ChildProcess child("/bin/sleep", {"60"});
    const auto running = StatusOfProcess(child.pid());
    ASSERT_TRUE(running);
    EXPECT_EQ(running->parent, getpid());
    EXPECT_GE(running->startTime, self->startTime);
    child.KillOnly();
    EXPECT_EQ(StatusOfProcess(child.pid())->state, 'Z');
    const pid_t gone = child.pid();
    child.End();
    for (const pid_t bad : {gone, 0, -1}) {
        EXPECT_FALSE(StatusOfProcess(bad));
    }
    EXPECT_EQ(base::OwnProgram().filename(), "base_test");
}

TEST(ProcessStatus, IsReadWhateverTheCommandIs) {
    const std::string numbers = " 7 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 123456 21\n";
    const auto odd = ParseProcessStatus("12 (a) R (b) S" + numbers);
    ASSERT_TRUE(odd);
    EXPECT_EQ(odd->command, "a) R (b");
    EXPECT_EQ(odd->state, 'S');
    EXPECT_EQ(odd->parent, 7);
    EXPECT_EQ(odd->startTime, 123456u);
    for (const std::string &bad : {std::string(), std::string("12"), std::string("12 )a( S") + numbers,
                                   std::string("12 (a)"), std::string("12 (a) S 7 3 4"), "12 (a) SS" + numbers}) {
        EXPECT_FALSE(ParseProcessStatus(bad)) << bad;
    }
}
