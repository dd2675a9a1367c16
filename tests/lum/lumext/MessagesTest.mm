// Messages to the user and requests to the logging URL.
#include <gtest/gtest.h>

#include <regex>

#import <Foundation/Foundation.h>

#include "tests/support/LumFixture.h"
#include "tests/support/TraceRecorder.h"

// Answers the query for warnings with what a test puts there.
@interface LUMTestCollector : NSObject {
@public
    id answer;
    BOOL reset;
}
@end

@implementation LUMTestCollector
- (void)query:(NSNotification *)notification {
    NSMutableDictionary *info = (NSMutableDictionary *)[notification userInfo];
    reset = [[info objectForKey:@"RESETTRACES"] boolValue];
    if (answer) {
        [info setObject:answer forKey:@"QUERYTRACESKEY"];
    }
}
@end

namespace {

struct Fixture : LumFixture {
    Fixture() {
        [NSBundle bundleWithPath:@TEST_BUNDLE]; // found by its identifier from now on
    }
};

const std::string kStart = "Setup was unsuccessful. Please restart browser and try again.\n\n\nError [";

} // namespace

TEST(Messages, LoggingUrlForms) {
    const std::string tail = "ConfID=M1&SessionID=S1&Module=1&ErrorCode=901&OptInfo3=no%20error";
    const struct {
        const char *url;
        std::string sent;
    } cases[] = {
        {"http://l/x", "http://l/x?" + tail},
        {"http://l/x?", "http://l/x?" + tail},
        {"http://l/x?a=b", "http://l/x?a=b&" + tail},
        {"http://l/x?a=b&", "http://l/x?a=b&" + tail},
        {"http://l/x?a=b?", "http://l/x?a=b?" + tail},
        {"http://l/x&", "http://l/x&"},
        {"", "?" + tail},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.EnableLog();
        fixture.host.parameters["LoggingURL"] = test.url;
        TraceRecorder traces;
        EXPECT_TRUE(fixture.extension.WriteErrorLog(901, nullptr));
        const std::vector<FakeHost::Navigation> expected{{"(null)", test.sent}};
        EXPECT_EQ(fixture.host.navigations, expected) << test.url;
        EXPECT_EQ(traces.Has("CLumExtension::WriteErrorLog,LoggingURL is not right!", 3), test.sent == "http://l/x&");
    }
}

TEST(Messages, LogNeedsItsThreeParameters) {
    const struct {
        std::vector<const char *> absent;
        const char *trace;
    } cases[] = {{{"LoggingURL", "MeetingID"}, "CLumExtension::WriteErrorLog,End,LoggingURL is nil!"},
                 {{"MeetingID", "SessionID"}, "CLumExtension::WriteErrorLog,End,MeetingID is nil!"},
                 {{"SessionID"}, "CLumExtension::WriteErrorLog,End,SessionID is nil!"}};
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.EnableLog();
        for (const char *name : test.absent) {
            fixture.host.parameters.erase(name);
        }
        TraceRecorder traces;
        EXPECT_FALSE(fixture.extension.WriteErrorLog(1, nullptr));
        EXPECT_TRUE(traces.Has(test.trace, 3));
        EXPECT_FALSE(fixture.extension.WriteErrorLogForReportDownloadTime());
        EXPECT_TRUE(traces.Has("CLumExtension::WriteErrorLogForReportDownloadTime,End,LoggingURL/MeetingID/SessionID "
                               "is nil!",
                               3));
        EXPECT_TRUE(fixture.host.navigations.empty());
    }
}

TEST(Messages, CollectedWarningsAndOptInfo) {
    const struct {
        id answer;
        const char *tail;
    } cases[] = {{@"a%20b", "ErrorCode=5&OptInfo1=x&OptInfo3=a%20b"},
                 {@"", "ErrorCode=5&OptInfo1=x&OptInfo3=no%20error"},
                 {[NSNumber numberWithInt:3], "ErrorCode=5&OptInfo1=x&OptInfo3=no%20error"},
                 {nil, "ErrorCode=5&OptInfo1=x&OptInfo3=no%20error"}};
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.EnableLog();
        LUMTestCollector *collector = [[LUMTestCollector new] autorelease];
        collector->answer = test.answer;
        [[NSNotificationCenter defaultCenter] addObserver:collector
                                                 selector:@selector(query:)
                                                     name:@"QUERYWARINGMESSAGENOTIFICTION"
                                                   object:nil];
        fixture.extension.WriteErrorLog(5, "x");
        [[NSNotificationCenter defaultCenter] removeObserver:collector];
        EXPECT_TRUE(collector->reset);
        ASSERT_EQ(fixture.host.navigations.size(), 1u);
        const std::string &url = fixture.host.navigations[0].url;
        EXPECT_EQ(url.substr(url.find("ErrorCode=")), test.tail);
    }
}

TEST(Messages, ExceptionsOfTheHostEndTheReportOnly) {
    Fixture fixture;
    fixture.host.EnableLog();
    fixture.host.table.pfnOpenURL = [](void *, const char *, const char *) {
        [NSException raise:@"HostBroke" format:@"in Objective-C"];
    };
    TraceRecorder traces;
    EXPECT_FALSE(fixture.extension.WriteErrorLog(5, nullptr));
    EXPECT_TRUE(traces.Has("CLumExtension::WriteErrorLog,End,Write Log to server fails!", 3));
    EXPECT_FALSE(fixture.extension.WriteErrorLogForReportDownloadTime());
}

TEST(Messages, DownloadTimeReport) {
    Fixture fixture;
    fixture.host.EnableLog();
    fixture.host.parameters["LoggingURL"] = "http://l/x"; // joined with "&" all the same
    fixture.extension.m_dwDownloadTotalSize = 4000000000u;
    fixture.extension.m_dwDownloadStartTick = 1234;
    EXPECT_TRUE(fixture.extension.WriteErrorLogForReportDownloadTime());
    ASSERT_EQ(fixture.host.navigations.size(), 1u);
    EXPECT_TRUE(std::regex_match(
        fixture.host.navigations[0].url,
        std::regex("http://l/x&ConfID=M1&SessionID=S1&Module=1&ErrorCode=1106&OptInfo3="
                   "\\d{4}-\\d\\d-\\d\\d-\\d\\d:\\d\\d:\\d\\d-\\d{1,3}&RefNum4=4000000000&RefNum5=1234")))
        << fixture.host.navigations[0].url;
}

TEST(Messages, TextsById) {
    const struct {
        int id;
        std::string text;
    } cases[] = {{1, kStart + "1]\n\n"},
                 {6, kStart + "6], URL [arg]\n"},
                 {7, kStart + "7], File [arg]\n"},
                 {7001, kStart + "7001], File [arg]\n"},
                 {7011, kStart + "7011], File [arg]\n"},
                 {24, "You already have one meeting in progress. You can start or join a new meeting after you leave "
                      "the previous meeting."},
                 {7000, "7000"},
                 {7012, "7012"},
                 {-3, "-3"}};
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.EnableLog();
        fixture.extension.ShowMessage(test.id, "arg");
        EXPECT_EQ(fixture.host.messages, std::vector<std::string>{test.text});
        EXPECT_EQ(fixture.host.LogCodes(), std::vector<std::string>{std::to_string(test.id)});
    }
    Fixture fixture;
    fixture.extension.ShowMessage(7, std::string(5000, 'n').c_str());
    EXPECT_EQ(fixture.host.messages.at(0).size(), 4095u);
}

TEST(Messages, EveryLanguageGivesNumberAndFile) {
    for (int language = 1; language <= 20; ++language) {
        Fixture fixture;
        fixture.host.parameters["lumlocalsetting"] = std::to_string(language);
        fixture.extension.ShowMessage(7003, "pack.bundle");
        fixture.extension.ShowMessage(5);
        ASSERT_EQ(fixture.host.messages.size(), 2u);
        EXPECT_NE(fixture.host.messages[0].find("[7003]"), std::string::npos) << language;
        EXPECT_NE(fixture.host.messages[0].find("[pack.bundle]"), std::string::npos) << language;
        EXPECT_NE(fixture.host.messages[1].find("[5]"), std::string::npos) << language;
        const bool english = fixture.host.messages[1].find("Setup was unsuccessful") == 0;
        EXPECT_EQ(english, language <= 2 || language == 17) << language;
    }
}

struct Translation {
    const char *text;
    bool usable;
};

void PrintTo(const Translation &translation, std::ostream *out) {
    *out << translation.text;
}

// A case each, since a process knows one bundle by an identifier.
class TranslatedFormat : public testing::TestWithParam<Translation> {};

TEST_P(TranslatedFormat, NeedsTheConversionsOfTheEnglishText) {
    const Translation test = GetParam();
    TempDir dir;
    dir.Write("own.bundle/Resources/Info-gnustep.plist", "{ CFBundleIdentifier = \"" LUM_BUNDLE_IDENTIFIER "\"; }");
    const std::string key = "Setup was unsuccessful. Please restart browser and try again.\\n\\n\\n"
                            "Error [%d], File [%s]\\n";
    dir.Write("own.bundle/Resources/Localizable_English.strings", "\"" + key + "\" = \"" + test.text + "\";\n");
    NSBundle *bundle = [NSBundle bundleWithPath:[NSString stringWithUTF8String:(dir / "own.bundle").c_str()]];
    ASSERT_EQ([NSBundle bundleWithIdentifier:@LUM_BUNDLE_IDENTIFIER], bundle);
    LumFixture fixture;
    TraceRecorder traces;
    fixture.extension.ShowMessage(18, "x");
    EXPECT_EQ(fixture.host.messages, std::vector<std::string>{test.usable ? "Fehler [18], Datei [x]" : "18"});
    EXPECT_EQ(traces.HasPart("invalid format string in file[lum/lumext/lumext], line[", 3), !test.usable);
}

INSTANTIATE_TEST_SUITE_P(Messages, TranslatedFormat,
                         testing::Values(Translation{"Fehler [%d], Datei [%s]", true},
                                         Translation{"Fehler [%s], Datei [%d]", false},
                                         Translation{"Fehler [%d]", false}, Translation{"%d %s %n", false},
                                         Translation{"%d %s 100%", false}, Translation{"%d %s %%", false},
                                         Translation{"%2$s %1$d", false}));
