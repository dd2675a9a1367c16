#include <Carbon/Carbon.h>
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/sysctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

OSErr NameOf(const ProcessSerialNumber &psn, std::string &name) {
    Str255 text = {};
    ProcessInfoRec info = {};
    info.processInfoLength = sizeof info;
    info.processName = text;
    const OSErr error = GetProcessInformation(&psn, &info);
    name.assign(reinterpret_cast<const char *>(text + 1), text[0]);
    return error;
}

std::map<pid_t, std::string> Applications() {
    std::map<pid_t, std::string> names;
    ProcessSerialNumber psn = {0, kNoProcess};
    while (GetNextProcess(&psn) == noErr) {
        std::string name;
        pid_t pid = 0;
        EXPECT_EQ(NameOf(psn, name), noErr);
        if (GetProcessPID(&psn, &pid) == noErr) {
            names[pid] = name;
        }
    }
    EXPECT_EQ(psn.highLongOfPSN, 0U);
    EXPECT_EQ(psn.lowLongOfPSN, UInt32{kNoProcess});
    return names;
}

bool IsListed(pid_t pid) {
    return Applications().contains(pid);
}

class Processes : public testing::Test {
protected:
    std::string Executable(const std::string &name) {
        fs::create_directories((m_folder.path() / name).parent_path());
        fs::copy_file(IDLE_PROGRAM, m_folder.path() / name);
        return m_folder / name;
    }

    std::string Script(const std::string &name, const std::string &content) {
        std::string path = m_folder.Write(name, content);
        fs::permissions(path, fs::perms::owner_all);
        return path;
    }

    TempDir m_folder;
};

TEST_F(Processes, AreNamedAfterTheExecutableOrTheScript) {
    const std::string loop = "\nwhile :; do sleep 1; done\n";
    const std::string longest(255, 'n');
    const std::string script = Script("script of a rather long name", "#!/bin/sh" + loop);
    const std::string program = Executable("idle");
    fs::create_symlink(program, m_folder.path() / "other name");
    struct Case {
        std::string path;
        std::vector<std::string> arguments;
        std::string name;
    };
    const std::vector<Case> cases = {
        {Executable("A.app/Contents/MacOS/Orb Recording Player"), {}, "Orb Recording Player"},
        {Executable("odd) (name"), {}, "odd) (name"},
        {Executable(longest), {}, longest},
        {m_folder / "other name", {}, "idle"},
        {script, {}, "script of a rather long name"},
        {Script("script with an option", "#!/bin/sh -u" + loop), {"argument"}, "script with an option"},
        {Script("script found by env", "#!/usr/bin/env sh" + loop), {}, "script found by env"},
        // Near-misses: programs that only have such paths as arguments.
        {Executable("Orb Recording P"), {"/x/Orb Recording Piano"}, "Orb Recording P"},
        {program, {script}, "idle"},
        {program, {"idle "}, "idle"},
    };
    for (const Case &c : cases) {
        const ChildProcess child(c.path, c.arguments);
        std::string name;
        EXPECT_TRUE(WaitUntil([&] {
            const auto names = Applications();
            const auto found = names.find(child.pid());
            name = found == names.end() ? "(not listed)" : found->second;
            return name == c.name;
        })) << name
            << " should be " << c.name;
    }
}

TEST_F(Processes, AreListedWhileTheirFileIsReplaced) {
    const std::string path = Executable("Meeting Hall");
    const ChildProcess child(path);
    fs::remove(path);
    EXPECT_EQ(Applications()[child.pid()], "Meeting Hall");
    fs::create_directory(path);
    EXPECT_EQ(Applications()[child.pid()], "Meeting Hall");
}

TEST_F(Processes, ThatHaveEndedAreNotThere) {
    ChildProcess child(Executable("short-lived"));
    ProcessSerialNumber psn = {};
    pid_t pid = 0;
    ASSERT_EQ(GetProcessForPID(child.pid(), &psn), noErr);
    EXPECT_EQ(GetProcessPID(&psn, &pid), noErr);
    EXPECT_EQ(pid, child.pid());

    child.KillOnly();
    const auto isGone = [&] {
        std::string name;
        ProcessSerialNumber other = {};
        EXPECT_FALSE(IsListed(pid));
        EXPECT_EQ(GetProcessForPID(pid, &other), procNotFound);
        EXPECT_EQ(GetProcessPID(&psn, &pid), procNotFound);
        EXPECT_EQ(NameOf(psn, name), procNotFound);
        EXPECT_EQ(SetFrontProcess(&psn), procNotFound);
    };
    isGone();
    child.End();
    isGone();
}

TEST_F(Processes, ThatEndDuringAWalkDoNotBreakIt) {
    const std::string path = Executable("idle");
    std::array<ChildProcess, 4> children{ChildProcess(path), ChildProcess(path), ChildProcess(path),
                                         ChildProcess(path)};
    std::array<pid_t, 4> pids{};
    std::ranges::transform(children, pids.begin(), &ChildProcess::pid);
    const pid_t survivor = *std::ranges::max_element(pids);
    ProcessSerialNumber psn = {0, kNoProcess};
    ASSERT_EQ(GetNextProcess(&psn), noErr);
    for (ChildProcess &child : children) {
        if (child.pid() != survivor) {
            child.End();
        }
    }
    std::vector<pid_t> seen;
    do {
        std::string name;
        pid_t pid = 0;
        EXPECT_EQ(NameOf(psn, name), noErr);
        if (name == "idle" && GetProcessPID(&psn, &pid) == noErr) {
            seen.push_back(pid);
        }
    } while (GetNextProcess(&psn) == noErr);
    EXPECT_THAT(seen, testing::Contains(survivor));
    for (const pid_t pid : pids) {
        EXPECT_TRUE(pid == survivor || std::find(seen.begin(), seen.end(), pid) == seen.end());
    }
}

TEST_F(Processes, OfAnotherUserAreNotListed) {
    // Root can make one; anybody else finds the first process to be root's.
    pid_t other = 1;
    if (geteuid() == 0) {
        const int program = open(IDLE_PROGRAM, O_RDONLY | O_CLOEXEC); // its folder may be closed to the other
        char *const arguments[] = {const_cast<char *>("idle"), nullptr};
        other = fork();
        if (other == 0) {
            _exit(setuid(65534) == 0 ? fexecve(program, arguments, environ) : 1);
        }
        close(program);
        EXPECT_TRUE(WaitUntil([&] { return !IsListed(other); }));
        EXPECT_EQ(waitpid(other, nullptr, WNOHANG), 0) << "it has to run";
    }
    ProcessSerialNumber psn = {};
    EXPECT_EQ(GetProcessForPID(other, &psn), procNotFound);
    EXPECT_TRUE(IsListed(getpid()));
    if (other != 1) {
        kill(other, SIGKILL);
        waitpid(other, nullptr, 0);
    }
}

TEST_F(Processes, RefuseWhatStandsForNone) {
    ProcessSerialNumber none = {0, kNoProcess};
    ProcessSerialNumber self = {0, kCurrentProcess};
    pid_t pid = 0;
    EXPECT_EQ(GetProcessPID(&none, &pid), procNotFound);
    EXPECT_EQ(GetProcessPID(&self, &pid), noErr);
    EXPECT_EQ(pid, getpid());
    for (const pid_t bad : {0, -1}) {
        EXPECT_EQ(GetProcessForPID(bad, &none), procNotFound) << bad;
    }
    ProcessInfoRec tooShort = {};
    EXPECT_EQ(GetProcessInformation(&self, &tooShort), paramErr);
    EXPECT_EQ(GetNextProcess(nullptr), paramErr);
}

TEST_F(Processes, OfTheKernelsTableHaveNamesCutAtFifteenBytes) {
    const ChildProcess child(Executable("Orb Recording Player"));
    int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL, 0};
    size_t size = 0;
    ASSERT_EQ(sysctl(name, 4, nullptr, &size, nullptr, 0), 0);
    std::vector<kinfo_proc> table(size / sizeof(kinfo_proc));
    ASSERT_EQ(sysctl(name, 3, table.data(), &size, nullptr, 0), 0);
    table.resize(size / sizeof(kinfo_proc));
    std::map<pid_t, std::string> commands;
    for (const kinfo_proc &process : table) {
        commands[process.kp_proc.p_pid] = process.kp_proc.p_comm;
    }
    EXPECT_EQ(commands[child.pid()], "Orb Recording P");
    EXPECT_TRUE(commands.contains(1)) << "processes of other users";

    size = sizeof(kinfo_proc);
    EXPECT_EQ(sysctl(name, 4, table.data(), &size, nullptr, 0), -1);
    EXPECT_EQ(errno, ENOMEM);
    name[1] = KERN_PROC + 1;
    EXPECT_EQ(sysctl(name, 4, table.data(), &size, nullptr, 0), -1);
    EXPECT_EQ(errno, ENOENT);
}

} // namespace
