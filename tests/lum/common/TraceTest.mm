#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

#import <Foundation/Foundation.h>

#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "tests/support/Gmock.h"
#include "tests/support/TraceRecorder.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

std::vector<std::pair<int, std::string>> LevelsAndTexts(const TraceRecorder &recorder) {
    std::vector<std::pair<int, std::string>> result;
    for (const Trace &trace : recorder.traces()) {
        EXPECT_EQ(trace.module, "LUMExt");
        result.emplace_back(trace.level, trace.text);
    }
    return result;
}

} // namespace

@interface LUMThrowingObserver : NSObject
- (void)throwObject:(NSNotification *)notification;
- (void)throwCpp:(NSNotification *)notification;
@end

@implementation LUMThrowingObserver
- (void)throwObject:(NSNotification *)notification {
    [NSException raise:NSGenericException format:@"from an observer"];
}
- (void)throwCpp:(NSNotification *)notification {
    throw std::runtime_error("from an observer");
}
@end

TEST(Trace, EachFunctionPostsItsLevel) {
    MacErrorTrace("nobody hears this");
    const TraceRecorder recorder;
    MacDebugTrace("debug %d", 1);
    MacInfoTrace("info %s", "two");
    MacWarnTrace("warn %%");
    MacErrorTrace("%s", "%s is no format here");
    EXPECT_THAT(LevelsAndTexts(recorder), ElementsAre(Pair(0, "debug 1"), Pair(1, "info two"), Pair(2, "warn %"),
                                                      Pair(3, "%s is no format here")));
}

TEST(Trace, LineIsCutAt4095Bytes) {
    const TraceRecorder recorder;
    const std::string whole(4095, 'a');
    MacInfoTrace("%s", whole.c_str());
    MacInfoTrace("%sb", whole.c_str());
    MacInfoTrace("%s", std::string(100000, 'c').c_str());
    EXPECT_THAT(recorder.Texts(1), ElementsAre(whole, whole, std::string(4095, 'c')));
}

TEST(Trace, LineThatIsNotUtf8IsDropped) {
    TraceRecorder recorder;
    const std::string cut = std::string(4094, 'a') + "\u00e9"; // its last byte does not fit
    const char *const bad[] = {"\xff", "a\xc3", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", cut.c_str()};
    for (const char *text : bad) {
        MacErrorTrace("%s", text);
        EXPECT_THAT(recorder.traces(), IsEmpty()) << text;
        recorder.Clear();
    }
    for (const char *text : {"", "\u00e9", "\U0001F600"}) {
        MacErrorTrace("%s", text);
        EXPECT_THAT(recorder.Texts(3), ElementsAre(text));
        recorder.Clear();
    }
}

TEST(Trace, AnyThreadAnyObserver) {
    LUMThrowingObserver *observer = [[LUMThrowingObserver new] autorelease];
    NSNotificationCenter *center = [NSNotificationCenter defaultCenter];
    for (const SEL action : { @selector(throwObject:), @selector(throwCpp:) }) {
        [center addObserver:observer selector:action name:@"TRACENOTIFICATIONNotification" object:nil];
        EXPECT_NO_THROW(MacInfoTrace("thrown at"));
        [center removeObserver:observer];
    }
    const TraceRecorder recorder;
    std::thread([] { MacInfoTrace("from a thread without a pool"); }).join();
    EXPECT_THAT(recorder.Texts(1), ElementsAre("from a thread without a pool"));
}

TEST(Assertion, LineIsFormattedTwice) {
    const TraceRecorder recorder;
    TraceAssertionFailure("pItem", "lum/lumext/luminstallationmgr", 42);
    TraceAssertionFailure("a %% b", "lum/100%%", 1);
    EXPECT_THAT(LevelsAndTexts(recorder),
                ElementsAre(Pair(3, "ASSERT pItem failed at file lum/lumext/luminstallationmgr, line 42\r\n"),
                            Pair(3, "ASSERT a % b failed at file lum/100%, line 1\r\n")));
}

TEST(Assertion, OnlyAFailedOneIsTraced) {
    const TraceRecorder recorder;
    constexpr SourceUnit unit("lum/common/lumutil");
    EXPECT_TRUE(AssertionHolds(true, "yes", unit));
    EXPECT_FALSE(AssertionHolds(false, "no", unit)); // named by its own line
    const int line = __LINE__ - 1;
    EXPECT_FALSE(AssertionHolds(false, "fixed", unit, 7));
    EXPECT_THAT(recorder.Texts(3),
                ElementsAre("ASSERT no failed at file lum/common/lumutil, line " + std::to_string(line) + "\r\n",
                            "ASSERT fixed failed at file lum/common/lumutil, line 7\r\n"));
}
