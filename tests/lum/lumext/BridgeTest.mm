// The launched application's report, within the process and across processes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#import <Foundation/Foundation.h>

#include "lum/launcher/AppleEvent.h"
#include "lum/launcher/Application.h"
#import "lum/lumext/LUMBridge.h"
#include "lum/lumext/lumext.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TraceRecorder.h"

namespace {

NSNotification *Launched(NSDictionary *info) {
    return [NSNotification notificationWithName:@"KLVMeetingLaunchedNotification" object:nil userInfo:info];
}

NSDictionary *Info(id processId, id url) {
    NSMutableDictionary *info = [NSMutableDictionary dictionary];
    if (processId) {
        [info setObject:processId forKey:@"kKLVMeetingProcessIDKey"];
    }
    if (url) {
        [info setObject:url forKey:@"kJumpURLKey"];
    }
    return info;
}

NSNumber *Number(int value) {
    return [NSNumber numberWithInt:value];
}

} // namespace

TEST(Bridge, OnlyTheLaunchedProcessIsHeard) {
    const struct {
        int launched;
        NSDictionary *info; // nil: a notification without any
        bool heard;
        NSString *url;
    } cases[] = {
        {42, Info(Number(42), @"http://next"), true, @"http://next"},
        {42, Info(Number(42), @""), true, @""},
        {42, Info(Number(42), nil), true, nil},
        {42, Info(Number(43), @"http://next"), false, nil},
        {42, Info(@"42", @"http://next"), false, nil},
        {42, Info(nil, @"http://next"), false, nil},
        {42, nil, false, nil},
        {-1, Info(Number(42), nil), false, nil},
        {-1, Info(Number(-1), @"u"), true, @"u"},
    };
    for (const auto &test : cases) {
        CLumExtension extension(nullptr);
        extension.m_nMainComponentPid = test.launched;
        TraceRecorder traces;
        [extension.m_pBridge meetingLaunced:Launched(test.info)];
        EXPECT_EQ([extension.m_pBridge launchFlag], test.heard ? YES : NO);
        NSString *url = [extension.m_pBridge jumpURL];
        EXPECT_TRUE(url == test.url || [url isEqualToString:test.url]);
        EXPECT_EQ(traces.HasPart("Meeting launched notification received, pid = "), test.heard);
    }
    CLumExtension extension(nullptr);
    [extension.m_pBridge meetingLaunced:nil];
    EXPECT_FALSE([extension.m_pBridge launchFlag]);
    LUMBridge *lonely = [[LUMBridge alloc] initWithReceiver:nullptr];
    [lonely meetingLaunced:Launched(Info(Number(-1), nil))];
    EXPECT_FALSE([lonely launchFlag]);
    [lonely release];
}

TEST(Bridge, HearsTheDistributedNotificationUntilItGoes) {
    auto extension = std::make_unique<CLumExtension>(nullptr);
    extension->m_nMainComponentPid = 4711;
    NSDistributedNotificationCenter *center = [NSDistributedNotificationCenter defaultCenter];
    [center postNotificationName:@"KLVMeetingLaunchedNotification"
                          object:@"anybody"
                        userInfo:Info(Number(4711), @"http://next")
              deliverImmediately:YES];
    NSDate *deadline = [NSDate dateWithTimeIntervalSinceNow:20];
    while (![extension->m_pBridge launchFlag] && [deadline timeIntervalSinceNow] > 0) {
        [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.05]];
    }
    EXPECT_TRUE([extension->m_pBridge launchFlag]);
    EXPECT_TRUE([[extension->m_pBridge jumpURL] isEqualToString:@"http://next"]);

    extension.reset(); // a notification that arrives now must find nobody
    [center postNotificationName:@"KLVMeetingLaunchedNotification"
                          object:nil
                        userInfo:Info(Number(4711), nil)
              deliverImmediately:YES];
    [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.2]];
}

// Each attempt to reach a daemon that cannot be started takes ten seconds. The test runs itself once more in a system
// whose daemon ends at once.
TEST(Bridge, AMissingDaemonIsWaitedForOnce) {
    if (!std::getenv("LUM_TEST_ATTEMPTS")) {
        const TempDir dir;
        const std::string daemon = dir.Write("tools/gdnc", "#!/bin/sh\necho started >>\"$LUM_TEST_ATTEMPTS\"\n");
        std::filesystem::permissions(daemon, std::filesystem::perms::owner_all);
        OutputOf("cd '" + dir.path().string() +
                 "' && sed \"s|_TOOLS=.*|_TOOLS=$PWD/tools|\" /etc/GNUstep/GNUstep.conf " +
                 ">conf && GNUSTEP_CONFIG_FILE=$PWD/conf LUM_TEST_ATTEMPTS=$PWD/attempts '" +
                 std::filesystem::read_symlink("/proc/self/exe").string() + "' --gtest_filter='*WaitedForOnce'");
        EXPECT_EQ(ReadFile(dir / "attempts"), "started\n");
        return;
    }
    TraceRecorder traces;
    {
        const CLumExtension extension(nullptr);
        AnnounceLaunch();
        SendAppleEvent({0, kCurrentProcess}, kReOnlineEvent, true);
    }
    EXPECT_TRUE(traces.HasPart("LUMBridge initWithReceiver, the session's notifications cannot be reached"));
}
