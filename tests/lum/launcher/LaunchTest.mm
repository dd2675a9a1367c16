#import <Foundation/Foundation.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "lum/launcher/Application.h"
#include "lum/platform/linux/session/SystemVersion.h"
#include "tests/support/Gmock.h"
#include "tests/support/LumFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Desktop.h"
#include "tests/support/TraceRecorder.h"

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr int kInformation = 1;
constexpr int kWarning = 2;
constexpr int kError = 3;

class Launch : public testing::Test, protected LumFixture {
protected:
    Launch() {
        unsetenv("DISPLAY");
    }

    std::string Executable(const std::string &name) {
        return dir / (name + ".app/Contents/MacOS/" + name);
    }

    std::string Install(const std::string &name, const std::string &program = APPLICATION_PROGRAM) {
        const std::string path = Executable(name);
        fs::create_directories(fs::path(path).parent_path());
        fs::copy_file(program, path);
        return path;
    }

    bool Load(const std::string &component) {
        return m_view.LoadMainComponant((dir / component).c_str());
    }

    // What the application has found, its lines that begin with `kind`.
    std::vector<std::string> Report(const std::string &kind) {
        const std::string file = dir / "report";
        std::string text;
        EXPECT_TRUE(WaitUntil([&] {
            text = fs::exists(file) ? ReadFile(file) : "";
            return text.ends_with("end\n");
        })) << "the application was not started";
        std::vector<std::string> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            if (line.starts_with(kind + " ")) {
                lines.push_back(line.substr(kind.size() + 1));
            }
        }
        return lines;
    }

    bool WaitForEvents(const std::string &events) {
        const std::string file = dir / "events";
        std::string text;
        const bool came = WaitUntil([&] {
            [[NSRunLoop currentRunLoop] runUntilDate:[NSDate dateWithTimeIntervalSinceNow:0.01]];
            text = fs::exists(file) ? ReadFile(file) : "(none)";
            return text == events;
        });
        EXPECT_TRUE(came) << text;
        return came;
    }

    // Who was told of a launch.
    std::string Told() const {
        std::string told;
        told += extension.m_bKelvoAppLaunched ? "application " : "";
        told += extension.m_bKelvoPlayerLaunched ? "player " : "";
        told += extension.m_bOrbPlayerLaunched ? "recording player " : "";
        return told;
    }

    std::vector<std::string> Traces(int level) const {
        std::vector<std::string> texts;
        for (const std::string &text : m_traces.Texts(level)) {
            if (text.starts_with("CPluginView::")) {
                texts.push_back(text.substr(text.find(',') + 1));
            }
        }
        return texts;
    }

    void ExpectLaunchFailure(const std::string &name) const {
        ASSERT_EQ(host.messages.size(), 1U);
        EXPECT_EQ(host.messages[0], "Setup was unsuccessful. Please restart browser and try again.\n\n\nError [18], "
                                    "File [" +
                                        dir.path().string() + "/" + name + ".app/Contents/MacOS/" + name + "]\n");
    }

    CPluginView &m_view = extension.m_pluginView;
    TraceRecorder m_traces;
};

TEST_F(Launch, GivesTheApplicationASessionAndNothingElseOfTheContainer) {
    const std::string executable = Install("Class Hall");
    dir.Write("Y.framework/Versions/Current", "A");
    ASSERT_GE(open("/etc/passwd", O_RDONLY), 0) << "a file that others inherit";
    setenv("SECRET", "1", 1);
    setenv("HOSTTYPE", "of the shell", 1);
    setenv("DISPLAY", ":98765", 1);

    EXPECT_TRUE(Load("klvmgrch.bundle"));

    const std::string pid = std::to_string(extension.m_nMainComponentPid);
    EXPECT_THAT(Report("pid"), ElementsAre(pid));
    EXPECT_THAT(Report("own session"), ElementsAre("1"));
    EXPECT_THAT(Report("argument"), IsEmpty());
    EXPECT_THAT(Report("file"), ElementsAre("0 /dev/null", "1 /dev/null", "2 /dev/null"));
    EXPECT_THAT(Report("variable"), Contains("HOSTTYPE=x86_64"));
    EXPECT_THAT(Report("variable"), Contains("DISPLAY=:98765"));
    EXPECT_THAT(Report("variable"), Contains("HOME=" + std::string(getenv("HOME"))));
    EXPECT_THAT(Report("variable"), Not(Contains(StartsWith("SECRET="))));
    EXPECT_TRUE(fs::is_symlink(dir.path() / "Y.framework/Versions/Current"));

    EXPECT_THAT(Traces(kInformation),
                ElementsAre("Class Hall is not Running", "Create framework links before launch, folder = " + executable,
                            "Process launch successfully, process id = " + pid));
    EXPECT_THAT(Traces(kWarning), ElementsAre(" current is 64bit and enviroment have no HOSTTYPE item",
                                              "Launch successfully but bring process to front failed!"));
    EXPECT_THAT(Traces(kError), IsEmpty());
    EXPECT_EQ(Told(), "application ");
    EXPECT_THAT(host.messages, IsEmpty());

    ASSERT_TRUE(m_view.mpComponantPSN);
    m_view.SetComponantAsFrontProcess();
    EXPECT_FALSE(m_view.mpComponantPSN);
    m_view.SetComponantAsFrontProcess();
}

TEST_F(Launch, SaysThatAPlaceholderWindowIsShown) {
    Install("Remly Client");
    extension.m_fuzzyWindowMgr.m_lumFuzzyWindowDelegate.m_isUsingFuzzyWindow = true;
    EXPECT_TRUE(Load("Remly Client.app"));
    EXPECT_THAT(Report("argument"), ElementsAre("-LaunchByLUM"));
    extension.m_fuzzyWindowMgr.m_lumFuzzyWindowDelegate.m_isUsingFuzzyWindow = false;
}

TEST_F(Launch, LeavesTheEnvironmentOnOldSystems) {
    Install("rmtagent");
    // Foundation has read the environment already, so the variable that tells is one that was there from the start.
    const ScopedSystemVersion old(0x1069);
    EXPECT_TRUE(Load("rmtshell.bundle"));
    EXPECT_THAT(Report("variable"), Contains(StartsWith("TMPDIR=")));
    EXPECT_THAT(Report("variable"), Not(Contains("HOSTTYPE=x86_64")));
    EXPECT_FALSE(m_traces.HasPart("HOSTTYPE"));
}

TEST_F(Launch, OutlivesTheContainer) {
    const std::string executable = Install("Remly Process Manager");
    const pid_t container = fork();
    if (container == 0) {
        _exit(StartApplication(executable, false) ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(container, &status, 0), container);
    EXPECT_EQ(status, 0);
    const auto pid = Report("pid");
    ASSERT_EQ(pid.size(), 1U);
    EXPECT_EQ(kill(std::stoi(pid[0]), 0), 0);
    EXPECT_TRUE(m_view.IsMainComponantRunning(dir / "Remly Process Manager.app"));
    kill(std::stoi(pid[0]), SIGKILL);
}

TEST_F(Launch, OfWhatCannotBeRunIsNone) {
    const std::string noProgram = dir.Write("no program", "text");
    const std::string noInterpreter = dir.Write("no interpreter", "#!/nowhere\n");
    for (const std::string &path : {noProgram, noInterpreter}) {
        fs::permissions(path, fs::perms::owner_all);
    }
    for (const std::string &path : {dir / "missing", dir.Write("text", ""), noProgram, noInterpreter,
                                    dir.path().string(), std::string(), std::string("\xFF")}) {
        EXPECT_EQ(StartApplication(path, false), std::nullopt) << path;
    }
}

TEST_F(Launch, FailsAtOnceWhenThereIsNothingToRun) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(Load("klvmgrdh.bundle"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(Told(), "application ");
    ExpectLaunchFailure("Deal Hall");
    EXPECT_THAT(Traces(kWarning), Contains("Error when launch main commpent"));
    EXPECT_THAT(Traces(kWarning), Not(Contains(StartsWith("cannot launch")))) << "it would travel to the site's log";
}

TEST_F(Launch, FailsWhenTheProcessNeverShowsUp) {
    const std::string executable = dir.Write("Deal Hall.app/Contents/MacOS/Deal Hall", "#!/bin/sh\nexit 3\n");
    fs::permissions(executable, fs::perms::owner_all);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(Load("klvmgrdh.bundle"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15'200));
    EXPECT_GT(extension.m_nMainComponentPid, 0) << "it was started";
    EXPECT_EQ(Told(), "application ");
    ExpectLaunchFailure("Deal Hall");
    EXPECT_THAT(Traces(kWarning), Contains("Error when launch main commpent"));
    EXPECT_FALSE(m_view.mpComponantPSN);
    EXPECT_EQ(kill(extension.m_nMainComponentPid, 0), -1) << "it was collected";
}

TEST_F(Launch, IsLeftOutForAnApplicationThatRuns) {
    Desktop::Get();
    const ChildProcess running(Install("PRACTICE lab", WINDOWS_PROGRAM), {"-Titles", "Lab"});
    const ChildProcess other(WINDOWS_PROGRAM, {"-Titles", "Other"});
    ASSERT_TRUE(Desktop::Get().WaitForWindow("Lab") && Desktop::Get().WaitForWindow("Other"));
    EXPECT_TRUE(m_view.IsMainComponantRunning("/chplmgr.bundle"));
    EXPECT_FALSE(m_view.IsMainComponantRunning("/chplmgr.bundl"));
    EXPECT_FALSE(m_view.IsMainComponantRunning("/klvmgrfh.bundle"));

    EXPECT_TRUE(Load("chplmgr.bundle"));
    EXPECT_TRUE(WaitUntil([] { return Desktop::Get().ActiveTitle() == "Lab"; }));
    EXPECT_THAT(Traces(kInformation),
                ElementsAre("Practice Lab is Running", "Launch successfully and bring process to front successfully!"));
    EXPECT_EQ(extension.m_nMainComponentPid, -1);
    EXPECT_EQ(Told(), "application ");
    pid_t found = 0;
    ASSERT_TRUE(m_view.mpComponantPSN);
    EXPECT_EQ(GetProcessPID(m_view.mpComponantPSN, &found), noErr);
    EXPECT_EQ(found, running.pid());
}

TEST_F(Launch, TellsAPlayerWhatToOpen) {
    Install("Kelvo Player", RECEIVER_PROGRAM);
    EXPECT_FALSE(Load("replayview.bundle"));
    EXPECT_THAT(Traces(kError), ElementsAre("cannot get urlstream url from param(RecordAddress)"));
    EXPECT_EQ(Told(), "");
    ExpectLaunchFailure("Kelvo Player");

    host.parameters["RecordAddress"] = "http://site.example/r?a=1&b=%20";
    EXPECT_TRUE(Load("replayview.bundle"));
    EXPECT_THAT(Traces(kInformation), Contains("Get RecordAddress= http://site.example/r?a=1&b=%20"));
    EXPECT_EQ(Told(), "player ");
    WaitForEvents("AppleEvent.kvvt.kvou [http://site.example/r?a=1&b=%20]\n");
}

TEST_F(Launch, TellsARecordingPlayerThatRunsAlreadyToReconnect) {
    Install("Orb Recording Player", RECEIVER_PROGRAM);
    EXPECT_TRUE(Load("orbpfw.bundle"));
    EXPECT_EQ(Told(), "recording player ");
    WaitForEvents("");
    EXPECT_TRUE(Load("orbpfw.bundle"));
    EXPECT_TRUE(m_traces.Has("CPluginView::LoadMainComponant,Orb is running,send ReOnline event to it!", kInformation));
    WaitForEvents("AppleEvent.kvvt.reol [1]\n");
}

TEST_F(Launch, MatchesTheBundleNameFirst) {
    struct Case {
        const char *parameter;
        const char *value;
        const char *name;
    };
    const Case cases[] = {{"ProductType", "2x", "Kelvo Meetings"},
                          {"ParmProductType_Value", "3", "Meeting Hall"},
                          {"ParmProductType_Value", "1", "Kelvo Meetings"}};
    const std::string strings = "Meeting Hall.app/Contents/Resources/English.lproj/InfoPlist.strings";
    dir.Write("Meeting Hall.app/Contents/Info.plist", "{ CFBundleName = Old; }");
    dir.Write(strings, "CFBundleName = Old;");
    const ChildProcess running(Install("Meeting Hall"));
    for (const Case &c : cases) {
        host.parameters[c.parameter] = c.value;
        EXPECT_TRUE(Load("confshell.bundle"));
        EXPECT_THAT(ReadFile(dir / strings), testing::HasSubstr(std::string("<string>") + c.name)) << c.value;
    }
}

} // namespace

@interface LaunchObserver : NSObject {
@public
    int count;
}
- (void)willLaunch:(NSNotification *)notification;
@end

@implementation LaunchObserver
- (void)willLaunch:(NSNotification *)notification {
    count += [notification object] == nil;
}
@end

namespace {

TEST_F(Launch, IsAnnouncedEvenWhenThereIsNothingToLaunch) {
    LaunchObserver *observer = [[LaunchObserver new] autorelease];
    NSDistributedNotificationCenter *centre = [NSDistributedNotificationCenter defaultCenter];
    [centre addObserver:observer selector:@selector(willLaunch:) name:@"KelvoLumWillLaunchApplication" object:nil];
    EXPECT_FALSE(Load("unknown.bundle"));
    EXPECT_FALSE(m_view.LoadMainComponant(nullptr));
    EXPECT_TRUE(WaitUntil([&] {
        [[NSRunLoop currentRunLoop] runUntilDate:[NSDate dateWithTimeIntervalSinceNow:0.01]];
        return observer->count == 2;
    })) << observer->count;
    EXPECT_EQ(Told(), "");
    EXPECT_THAT(host.messages, IsEmpty());
    [centre removeObserver:observer];
}

} // namespace
