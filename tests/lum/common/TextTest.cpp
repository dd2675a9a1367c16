#include <gmock/gmock.h>
#include <sys/time.h>
#include <time.h>

#include "lum/common/lumutil.h"
#include "lum/common/TickOrigin.h"
#include "tests/support/TraceRecorder.h"

using testing::ElementsAre;
using testing::StartsWith;

TEST(Text, ReplaceAll) {
    struct {
        const char *text, *from, *to, *expected;
    } const cases[] = {
        {"a.b.c", ".", ",", "a,b,c"}, {"aaa", "a", "aa", "aaaaaa"}, {"aaa", "aa", "a", "aa"}, {"abab", "ab", "", ""},
        {"abc", "x", "y", "abc"},     {"", "x", "y", ""},           {"abc", "", "y", "abc"},
    };
    for (const auto &c : cases) {
        std::string text = c.text;
        EXPECT_EQ(replaceall(text, c.from, c.to), std::string::npos);
        EXPECT_EQ(text, c.expected);
    }
}

TEST(Text, DivideStr) {
    struct {
        const char *text, *separators;
        std::vector<std::string> expected;
    } const cases[] = {
        {",a,,b,", ",", {"", "a", "", "b"}},
        {"a,", ",", {"a"}},
        {"a", ",", {"a"}},
        {"a b,c", ", ", {"a", "b", "c"}},
        {",", ",", {""}},
        {"", ",", {}},
        {"a,b", "", {}},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(divideStr(c.text, c.separators), c.expected) << c.text;
    }
}

TEST(Text, FormalizeVersionString) {
    const std::pair<const char *, const char *> cases[] = {
        {"1,2,3,4", "1,2,3,4"}, {"1, 2", "1,,2"}, {"1 2\t3\r\n", "1,2,3,"}, {"1.2", "1.2"}, {"", "before"},
    };
    for (const auto &[version, expected] : cases) {
        const TraceRecorder recorder;
        std::string out = "before";
        FormalizeVersionString(out, version);
        EXPECT_EQ(out, expected) << version;
        EXPECT_THAT(recorder.Texts(1), ElementsAre("FormalizeVersionString, version = " + out));
    }
    const TraceRecorder recorder;
    std::string out = "before";
    FormalizeVersionString(out, nullptr);
    EXPECT_EQ(out, "before");
    EXPECT_THAT(recorder.Texts(3), ElementsAre(StartsWith("ASSERT lpszSrc failed at file lum/common/lumutil,")));
}

TEST(Text, LocalizationNames) {
    for (const auto &[id, name] : {std::pair{"1", "English"}, {"3", "zh_CN"}, {"12", "es_419"}, {"20", "pl"}}) {
        EXPECT_EQ(localizedExtNameFromLanguageID(id), name);
    }
    for (const char *id : {"", "0", "03", " 3", "3 ", "+3", "3a", "21", "-3", "4294967299", "de"}) {
        EXPECT_EQ(localizedExtNameFromLanguageID(id), "English") << id;
    }
    EXPECT_EQ(localizedExtNameFromLanguageID(nullptr), "English");
}

TEST(Ticks, DistanceWraps) {
    EXPECT_EQ(CalcSequenceDistance(0xFFFFFFF0, 0x10), 0x20U);
    EXPECT_EQ(CalcSequenceDistance(5, 5), 0U);
    EXPECT_EQ(CalcSequenceDistance(6, 5), 0xFFFFFFFFU);
}

TEST(Ticks, CountFromTheFirstCall) {
    EXPECT_EQ(GetTickCount(), 0U);
    timeval &origin = TickOrigin();
    origin.tv_sec -= 2;
    EXPECT_NEAR(GetTickCount(), 2000, 1000);

    origin.tv_sec -= 5'000'000; // over 2^32 milliseconds ago
    EXPECT_NEAR(GetTickCount(), static_cast<unsigned int>(5'000'000'000), 60'000);

    origin.tv_sec = time(nullptr) + 1000; // the clock went back
    EXPECT_EQ(GetTickCount(), 0U);
    EXPECT_LE(origin.tv_sec, time(nullptr));
}
