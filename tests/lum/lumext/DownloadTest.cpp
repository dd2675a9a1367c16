// Downloads: requests, bytes, speed, time left, when the window is wanted.
#include <gtest/gtest.h>

#include "lum/common/lumutil.h"
#include "tests/support/LumFixture.h"
#include "tests/support/TraceRecorder.h"

TEST(Download, SpeedCountsTheFirstSecondWhole) {
    const struct {
        unsigned int elapsed;
        unsigned int speed;
    } cases[] = {{0, 5000}, {900, 5000}, {1100, 5000}, {2500, 2500}, {9500, 555}};
    for (const auto &test : cases) {
        LumFixture fixture;
        GetTickCount();
        fixture.manager.m_dwStartTick = GetTickCount() - test.elapsed; // before the origin it wraps, as it may
        fixture.manager.UpdateDownloadProgress(5000);
        EXPECT_EQ(fixture.manager.m_dwDownloadSpeed, test.speed) << test.elapsed;
        EXPECT_EQ(fixture.manager.m_dwDownloadedSize, 5000u);
    }
}

TEST(Download, TimeLeft) {
    const struct {
        unsigned int total, received, speed, seconds;
    } cases[] = {{1000, 0, 0, 0},    {1000, 1000, 10, 0}, {1000, 1001, 10, 0},
                 {1000, 995, 10, 0}, {1000, 333, 10, 66}, {0, 0, 10, 0}};
    for (const auto &test : cases) {
        LumFixture fixture;
        fixture.manager.m_dwTotalSize = test.total;
        fixture.manager.m_dwDownloadedSize = test.received;
        fixture.manager.m_dwDownloadSpeed = test.speed;
        EXPECT_EQ(fixture.manager.CalcEstimatedTimeLeft(), test.seconds);
    }
}

TEST(Download, PercentMayExceedTheWhole) {
    const struct {
        unsigned int total, received;
        const char *percent;
    } cases[] = {{1000, 333, "33"}, {1000, 1500, "150"}, {1, 43000000, "2147483647"}};
    for (const auto &test : cases) {
        LumFixture fixture;
        fixture.manager.m_dwTotalSize = test.total;
        fixture.manager.m_dwDownloadedSize = test.received;
        TraceRecorder traces;
        fixture.manager.UpdateDownloadWindowProgress();
        EXPECT_EQ(traces.traces().at(0).text,
                  "LumInstallationMgr::UpdateDownloadProgress total size = " + std::to_string(test.total) +
                      ", current size = " + std::to_string(test.received) + ", pecent = " + test.percent);
    }
}

TEST(Download, WhenTheWindowIsWanted) {
    const struct {
        unsigned int need, current;
        const char *suppress; // null: absent
        bool wanted;
    } cases[] = {{0, 0, nullptr, false}, {1, 0, nullptr, true}, {1, 1, nullptr, false}, {2, 0, "True", false},
                 {2, 0, "tRUE", false},  {2, 0, "False", true}, {2, 0, "", true},       {2, 0, "True ", true}};
    for (const auto &test : cases) {
        LumFixture fixture;
        fixture.manager.mNeedUpdate = test.need;
        fixture.manager.mCurrentUpdate = test.current;
        if (test.suppress) {
            fixture.host.parameters["LumSuppressProgressBar"] = test.suppress;
        }
        EXPECT_EQ(fixture.manager.isNeedDownload(), test.wanted);
    }
}

TEST(Download, RequestsAddUpUnlessFlagged) {
    LumFixture fixture;
    fixture.manager.m_strUrlRoot = "http://s/";
    CItem item(&fixture.extension);
    item.m_strUrl = "p.tgz";
    item.m_dwCompressedSize = 40;
    fixture.manager.PrepareDownload(&item, false);
    fixture.manager.PrepareDownload(&item, true);
    EXPECT_EQ(fixture.manager.m_dwTotalSize, 40u);
    ASSERT_EQ(fixture.host.requests.size(), 2u);
    EXPECT_EQ(fixture.host.requests[0].url.find("http://s/p.tgz?random="), 0u);
    TraceRecorder traces;
    fixture.manager.PrepareDownload(nullptr, false);
    EXPECT_TRUE(traces.HasPart("ASSERT pItem failed at file lum/lumext/luminstallationmgr, line", 3));
    EXPECT_EQ(fixture.host.requests.size(), 2u);
}

TEST(Download, CancelStopsHostAndExtension) {
    LumFixture fixture;
    fixture.host.EnableLog();
    fixture.manager.Cancel();
    EXPECT_TRUE(fixture.extension.m_bStopped);
    EXPECT_EQ(fixture.host.stops, 1);
    EXPECT_EQ(fixture.host.LogCodes(), std::vector<std::string>{"901"});
}

TEST(Download, NothingHappensAfterStop) {
    LumFixture fixture;
    fixture.manager.m_strUrlRoot = "http://s";
    fixture.Add("a;a.tgz;;1;1;1;;;;0");
    fixture.manager.PrepareInstallation(false);
    fixture.extension.Stop();
    ASSERT_EQ(fixture.host.requests.size(), 1u);
    fixture.host.requests[0].Progress(77);
    fixture.host.requests[0].Done(nullptr);
    fixture.host.requests[0].Done("/nowhere");
    CLumExtension::GetIniFileCallback(nullptr, &fixture.extension, LUMGetFileNotifyDone, nullptr);
    EXPECT_EQ(fixture.manager.m_dwDownloadedSize, 0u);
    EXPECT_TRUE(fixture.host.messages.empty());
    EXPECT_TRUE(fixture.host.installs.empty());
}

TEST(Download, AFailedDownloadIsMessageSixWithTheItemsUrl) {
    LumFixture fixture;
    fixture.Add("a;sub/a.tgz;;1;1;1;;;;0");
    fixture.manager.PrepareInstallation(false);
    ASSERT_EQ(fixture.host.requests.size(), 1u);
    const FakeHost::Request &request = fixture.host.requests[0];
    for (const int type : {2, 7, -1}) { // of a later host's table
        request.callback(nullptr, request.context, static_cast<LUMGetFileNotifyMessageType>(type), nullptr);
        EXPECT_TRUE(fixture.host.messages.empty()) << type;
    }
    request.Done(nullptr);
    ASSERT_EQ(fixture.host.messages.size(), 1u);
    EXPECT_EQ(fixture.host.messages[0], "Setup was unsuccessful. Please restart browser and try again.\n\n\n"
                                        "Error [6], URL [sub/a.tgz]\n");
    EXPECT_TRUE(fixture.extension.m_bStopped);
}
