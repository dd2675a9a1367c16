// Texts as people write them: any script, any length, any bytes.
#include "fuzzywindow/TextPicture.h"

#include <gtest/gtest.h>

namespace {

constexpr double kWidth = 480;

std::string Repeated(const std::string &text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

// How much of the picture is covered, in whole pixels.
double Ink(const TextPicture &picture) {
    double ink = 0;
    for (std::size_t alpha = 3; alpha < picture.pixels.size(); alpha += 4) {
        ink += picture.pixels[alpha] / 255.0;
    }
    return ink;
}

} // namespace

TEST(TextPicture, ShowsEveryScriptAndCutsNothingThatFits) {
    const std::string topics[] = {
        "Weekly planning",
        "Еженедельное планирование",
        "週次計画会議",
        "正在准备您的会议",
        "주간 회의",
        "اجتماع التخطيط",
        "פגישת תכנון",
        Repeated("W", 200),
        Repeated("会議", 100),
        "two\nlines\tand\rmore",
        "broken \xC3\x28 bytes \xFF",
    };
    for (const std::string &topic : topics) {
        const TextPicture picture = DrawText(topic, {.size = 13, .bold = true, .lines = 12}, kWidth, 1);
        EXPECT_FALSE(picture.cut) << topic;
        EXPECT_LE(picture.width, kWidth + 4) << topic;
        EXPECT_GT(Ink(picture), 100) << topic;
        EXPECT_EQ(picture.pixels.size(), static_cast<std::size_t>(picture.pixelsWide * picture.pixelsHigh * 4));
    }
}

TEST(TextPicture, CutsAtTheLastLine) {
    const TextStyle style{.size = 13, .lines = 2};
    const TextPicture one = DrawText("word", style, kWidth, 1);
    const TextPicture two = DrawText(Repeated("word ", 20), style, kWidth, 1);
    const TextPicture cut = DrawText(Repeated("word ", 200), style, kWidth, 1);
    EXPECT_FALSE(two.cut);
    EXPECT_TRUE(cut.cut);
    EXPECT_NEAR(two.height, 2 * one.height, 2);
    EXPECT_NEAR(cut.height, two.height, 2);
}

TEST(TextPicture, RightToLeftTextStartsAtTheRight) {
    // The wide letter (shin) comes first in the text and so is at the right, the narrow one (vav) at the left.
    const TextPicture picture = DrawText("ש ו", {.size = 30}, kWidth, 1);
    double left = 0, right = 0;
    for (int y = 0; y < picture.pixelsHigh; ++y) {
        for (int x = 0; x < picture.pixelsWide; ++x) {
            (x < picture.pixelsWide / 2 ? left : right) += picture.pixels[(y * picture.pixelsWide + x) * 4 + 3];
        }
    }
    EXPECT_GT(right, 1.5 * left);
}

TEST(TextPicture, FollowsTheScale) {
    const TextPicture once = DrawText("Scale", {.size = 20}, kWidth, 1);
    const TextPicture twice = DrawText("Scale", {.size = 20}, kWidth, 2);
    EXPECT_EQ(once.width, twice.width);
    EXPECT_EQ(once.pixelsWide * 2, twice.pixelsWide);
    EXPECT_NEAR(Ink(twice), 4 * Ink(once), Ink(once));
}

TEST(TextPicture, NothingForNothing) {
    EXPECT_TRUE(DrawText("", {}, kWidth, 1).pixels.empty());
}

TEST(TextPicture, LanguageAndInitial) {
    const struct {
        const char *text;
        const char *language;
        const char *initial;
    } cases[] = {
        {"会議の準備", "ja", "会"},
        {"회의 준비", "ko", "회"},
        {"正在准备您的会议", "zh-cn", "正"},
        {"Anna Smith", "", "A"},
        {" (élodie)", "", "É"},
        {"жанна", "", "Ж"},
        {"", "", ""},
        {"...", "", ""},
        {"\xFF\xFE", "", ""},
    };
    for (const auto &test : cases) {
        EXPECT_EQ(EastAsianLanguage(test.text), test.language) << test.text;
        EXPECT_EQ(Initial(test.text), test.initial) << test.text;
    }
}
