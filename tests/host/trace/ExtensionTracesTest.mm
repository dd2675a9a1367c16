// What the extension traces in a start, as the container reads it: both sides of TraceLines.h.
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <filesystem>

#import <Foundation/Foundation.h>

#include "host/trace/MessageNumber.h"
#include "host/trace/TraceNews.h"
#import "lum/lumext/LUMBridge.h"
#include "tests/support/Gmock.h"
#include "tests/support/LumFixture.h"
#include "tests/support/TraceRecorder.h"

namespace {

using lumhost::TraceNews;
using testing::ElementsAre;
using testing::Pair;
using testing::StartsWith;
using Kind = TraceNews::Kind;

class ExtensionTraces : public testing::Test {
protected:
    ExtensionTraces() {
        unsetenv("DISPLAY");
        m_controller.host.parameters = {{"LumComponentName", "klvmgrch.bundle"}, {"LumUrlRoot", "http://site.example"}};
        m_controller.host.EnableLog();
    }

    // Until the one package of the page has been asked for.
    void AskForPackage() {
        const std::string line = "klvmgrch.bundle;p.tgz;" + (m_controller.dir / "") + ";1,0,0,0;1;3000000000;;;;0";
        const std::string instructions = m_controller.dir.Write("lummac.ini", "[Kelvo]\nCount=1\nFile1=" + line);
        m_controller.extension.InitInstance(&m_controller.host.table);
        m_controller.host.RequestFor("lummac.ini").Done(instructions.c_str());
    }

    // The news since the last call.
    std::vector<std::pair<Kind, unsigned int>> News() {
        std::vector<std::pair<Kind, unsigned int>> all;
        for (const Trace &trace : m_traces.traces()) {
            if (const auto news = lumhost::ReadTrace(trace.text)) {
                all.emplace_back(news->kind, news->number);
                m_text = news->text;
            }
        }
        m_traces.Clear();
        return all;
    }

    LumFixture m_controller;
    TraceRecorder m_traces;
    std::string m_text; // of the last news
};

TEST_F(ExtensionTraces, TellAWholeStart) {
    CLumExtension &extension = m_controller.extension;
    AskForPackage();
    EXPECT_THAT(News(), ElementsAre(Pair(Kind::PackageAsked, 3'000'000'000U)));
    EXPECT_THAT(m_text, StartsWith("http://site.example/p.tgz?random="));

    m_controller.manager.SuppressInstallation(); // as if it were installed
    const std::string application = m_controller.dir / "Class Hall.app/Contents/MacOS/Class Hall";
    std::filesystem::create_directories(std::filesystem::path(application).parent_path());
    std::filesystem::copy_file(APPLICATION_PROGRAM, application);
    extension.Heartbeat();
    const auto pid = static_cast<unsigned int>(extension.m_nMainComponentPid);
    EXPECT_THAT(News(), ElementsAre(Pair(Kind::MainReady, 0), Pair(Kind::AllInstalled, 0), Pair(Kind::Starts, 0),
                                    Pair(Kind::Process, pid), Pair(Kind::MeetingRuns, 0)));

    NSDictionary *info = [NSDictionary dictionaryWithObject:[NSNumber numberWithInt:extension.m_nMainComponentPid]
                                                     forKey:@"kKLVMeetingProcessIDKey"];
    [extension.m_pBridge meetingLaunced:[NSNotification notificationWithName:@"KLVMeetingLaunchedNotification"
                                                                      object:nil
                                                                    userInfo:info]];
    EXPECT_THAT(News(), ElementsAre(Pair(Kind::Joined, pid)));
    extension.m_dwKelvoAppLaunchTick -= 1000;
    extension.Heartbeat();
    EXPECT_THAT(News(), ElementsAre(Pair(Kind::MeetingSeen, 0)));
    kill(extension.m_nMainComponentPid, SIGKILL);
}

TEST_F(ExtensionTraces, TellAFailureAndItsNumber) {
    AskForPackage();
    News();
    m_controller.host.RequestFor("p.tgz").Done(nullptr);
    EXPECT_THAT(News(), ElementsAre(Pair(Kind::ShowsMessage, 6)));
    EXPECT_EQ(6, lumhost::MessageNumber(m_controller.host.messages.at(0)));
    EXPECT_EQ(6, lumhost::LogCode(m_controller.host.navigations.back().url));
}

TEST_F(ExtensionTraces, TellOfThePlayers) {
    m_controller.extension.SetKelvoPlayerLaunched(true);
    m_controller.extension.SetOrbPlayerLaunched(true);
    m_controller.extension.SetOrbPlayerLaunched(false);
    EXPECT_THAT(News(), ElementsAre(Pair(Kind::PlayerRuns, 0), Pair(Kind::PlayerRuns, 0)));
}

} // namespace
