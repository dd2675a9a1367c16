// The trace collector, what is read from traces, and what is taken out of them for support.
#include <gmock/gmock.h>

#include "host/trace/Redactor.h"
#include "host/trace/TraceCollector.h"
#include "host/trace/MessageNumber.h"
#include "base/Text.h"
#include "host/trace/TraceNews.h"

using namespace lumhost;
using testing::EndsWith;
using testing::StartsWith;

namespace {

TEST(TraceCollector, AnswersWarningsOldestFirst) {
    TraceCollector collector;
    collector.Add(1, "information");
    EXPECT_EQ("", collector.Warnings());
    collector.Add(2, "CLumExtension::SaveMsgLogToUrl,lpszUrl=http://h/log?OptInfo3=no%20error");
    EXPECT_EQ("", collector.Warnings()) << "the log does not tell of itself";
    collector.Add(2, "100% of \u00e4");
    collector.Add(3, "two\r\nlines & more");
    EXPECT_EQ("100%25%20of%20%C3%A4%0Atwo%20lines%20%26%20more", collector.Warnings());
    EXPECT_EQ(collector.Warnings(), collector.Warnings()) << "asking does not reset";
    collector.ResetWarnings();
    EXPECT_EQ("", collector.Warnings());
}

TEST(TraceCollector, KeepsTheNewestThatFit) {
    TraceCollector collector;
    for (int i = 0; i < 1000; ++i) {
        collector.Add(2, "warning " + std::to_string(i));
    }
    const std::string answer = collector.Warnings();
    EXPECT_LE(answer.size(), TraceCollector::kLongestAnswer);
    EXPECT_GT(answer.size(), TraceCollector::kLongestAnswer - 50);
    EXPECT_THAT(answer, EndsWith("warning%20999"));
    EXPECT_THAT(answer, StartsWith("warning%20")) << "no warning is cut";

    // One that is too long by itself is cut, at every place within a character.
    for (int before = 0; before < 9; ++before) {
        std::string text(static_cast<std::size_t>(before), 'a');
        for (int i = 0; i < 500; ++i) {
            text += "\u6771";
        }
        collector.Add(2, text);
        std::string cut = collector.Warnings();
        EXPECT_LE(cut.size(), TraceCollector::kLongestAnswer);
        EXPECT_GT(cut.size(), TraceCollector::kLongestAnswer - 9);
        cut.erase(0, static_cast<std::size_t>(before));
        EXPECT_EQ(0U, cut.size() % 9) << before;
    }
}

TEST(TraceCollector, HandsEveryLineOn) {
    TraceCollector collector;
    std::vector<std::string> lines;
    collector.Listen([&](const TraceLine &line) { lines.push_back(FormatLine(line)); });
    collector.Add(0, "a");
    collector.Add(3, "b\x1b[2Jc\n");
    ASSERT_EQ(2U, lines.size());
    EXPECT_THAT(lines[0], EndsWith("Z debug a"));
    EXPECT_THAT(lines[1], EndsWith("Z error b?[2Jc")) << "nothing for a terminal to obey";
    EXPECT_EQ(std::string("2026-01-02T03:04:05.678Z info x").size() + 1, lines[0].size());
}

TEST(Traces, SayWhatHappens) {
    using Kind = TraceNews::Kind;
    const auto kind = [](const char *text) {
        const auto news = ReadTrace(text);
        return news ? std::optional(std::pair(news->kind, news->number)) : std::nullopt;
    };
    EXPECT_EQ(std::pair(Kind::ShowsMessage, 7003U), kind("CLumExtension::ShowMessage,nResourceId=7003"));
    EXPECT_EQ(std::pair(Kind::MeetingRuns, 0U), kind("CLumExtension::SetKelvoAppLaunched,bKelvoAppLaunched=1"));
    EXPECT_EQ(std::pair(Kind::MeetingSeen, 0U), kind("CLumExtension::SetKelvoAppLaunched,bKelvoAppLaunched=0"));
    EXPECT_EQ(std::pair(Kind::Joined, 42U), kind("Meeting launched notification received, pid = 42"));
    for (const char *text : {"", "CLumExtension::ShowMessage,nResourceId=", "CLumExtension::ShowMessage,nResourceId=7x",
                             "Main component is ready to be loaded.", "CLumExtension::ShowMessage = 7",
                             "LumInstallationMgr::PrepareDownload Down file=, TotalSize=",
                             "LumInstallationMgr::PrepareDownload Down file=x"}) {
        EXPECT_EQ(std::nullopt, kind(text)) << text;
    }
    const auto asked =
        ReadTrace("LumInstallationMgr::PrepareDownload Down file=http://h/a, TotalSize=1?random=5, TotalSize=-2");
    ASSERT_TRUE(asked);
    EXPECT_EQ("http://h/a, TotalSize=1?random=5", asked->text);
    EXPECT_EQ(4'294'967'294U, asked->number) << "sizes of 2 GiB and more are traced as negative numbers";
}

TEST(Traces, NumbersInTexts) {
    EXPECT_EQ(7, MessageNumber("Setup was unsuccessful.\n\nError [7], File [a[12].tgz]"));
    EXPECT_EQ(12, MessageNumber("Datei [x] Fehler [12]"));
    EXPECT_EQ(7011, MessageNumber("7011"));
    EXPECT_EQ(0, MessageNumber("You already have one meeting in progress."));
    EXPECT_EQ(0, MessageNumber("[]["));
    EXPECT_EQ(901, LogCode("http://h/log?ConfID=ErrorCode=1&Module=1&ErrorCode=901&OptInfo3=x"));
    EXPECT_EQ(0, LogCode("http://h/ErrorCode=5"));
}

TEST(Redactor, TakesOutWhatIsPrivate) {
    const Redactor redactor("/home/ada", "ada",
                            {{"MeetingID", "4711 23"},
                             {"LumUrlRoot", "https://cdn.example/kit"},
                             {"SessionID", "77"},
                             {"LoggingURL", "https://log.example/in?key=1"},
                             {"LumHostName", "Ada L."},
                             {"LumComponentName", "confshell.bundle"},
                             {"szNextUrl", "https://meet.example/room/secret"}});
    struct Case {
        const char *text;
        const char *kept;
    };
    const Case cases[] = {
        {"item confshell.bundle of 4711 23", "item confshell.bundle of <MeetingID>"},
        {"encoded 4711%2023 too", "encoded <MeetingID> too"},
        {"CLumExtension::WriteErrorLog,JMF parameters: https://log.example/in?key=1,4711 23,77",
         "CLumExtension::WriteErrorLog,JMF parameters: ..."},
        {"get [https://log.example/in?key=1&ConfID=4711 23&SessionID=77] is [successful]",
         "get [<LoggingURL>?...] is [successful]"},
        {"url=http://u:p@h.example/a?SessionID=77", "url=http://h.example/a?..."},
        {"http://[::1]:80/p?x=1] http://h#f", "http://[::1]:80/p?...] http://h?..."},
        {"open https://log.example/in?key=1 and https://log.example/in", "open <LoggingURL> and <LoggingURL>"},
        {"go to https://meet.example/room/secret now", "go to <szNextUrl> now"},
        {"/home/ada/GNUstep and /tmp/ada-x of adam", "~/GNUstep and /tmp/<user>-x of adam"},
        {"by Ada L.", "by <LumHostName>"},
        {"to log.EXAMPLE/in, host meet.example", "to log.EXAMPLE/in, host <szNextUrl>.example"},
        {"of /tmp/secret.html, secretly", "of /tmp/<szNextUrl>.html, secretly"},
        {"NDcxMSAyMw== is it", "<MeetingID> is it"},
        {"plain", "plain"},
    };
    for (const Case &test : cases) {
        EXPECT_EQ(test.kept, redactor.Redact(test.text));
    }
}

TEST(Redactor, HidesThePersonFromTheSite) {
    const Redactor redactor("/home/ada", "ada", {{"MeetingID", "4711 23"}});
    EXPECT_EQ("~/GNUstep of <user> in 4711 23, http://h/?x=1",
              redactor.HidePerson("/home/ada/GNUstep of ada in 4711 23, http://h/?x=1"));
    TraceCollector collector;
    collector.HideFromSite([&](std::string_view text) { return redactor.HidePerson(text); });
    collector.Add(2, "no room in /home/ada");
    EXPECT_EQ("no%20room%20in%20~", collector.Warnings());
}

} // namespace
