#include "delivery/release/PathPattern.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace delivery {
namespace {

TEST(PathPattern, StarsAndQuestionMarksStayWithinAPart) {
    struct {
        const char *pattern;
        const char *path;
        bool matches;
    } const cases[] = {
        {"targets/*.tgz", "targets/foo.tgz", true},
        {"targets/*.tgz", "targets/foo.txt", false},
        {"targets/*.tgz", "targets/a/foo.tgz", false},
        {"foo-version-?.tgz", "foo-version-2.tgz", true},
        {"foo-version-?.tgz", "foo-version-alpha.tgz", false},
        {"foo-version-?.tgz", "foo-version-\xc3\xa9.tgz", true}, // one character, two bytes
        {"?", "/", false},
        {"*.tgz", "foo.tgz", true},
        {"*.tgz", "targets/foo.tgz", false},
        {"*", "", true},
        {"*", ".hidden", true},
        {"", "", true},
        {"", "a", false},
        {"a*b*c", "a-b-b-c", true},
        {"a*b*c", "a-b-b-c-", false},
        {"a**", "a", true},
        {"*/*", "a/b", true},
        {"*/*", "a", false},
        {"a/", "a", false},
        {"a", "a/", false},
        {"A", "a", false},
        {"[ab]", "a", false},
        {"[ab]", "[ab]", true},
        {"\\*", "x", false},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(MatchesPattern(c.path, c.pattern), c.matches) << c.pattern << " and " << c.path;
    }
}

TEST(PathPattern, ManyStarsCostNoMoreThanTheyShould) {
    std::string pattern;
    for (int i = 0; i < 500; ++i) {
        pattern += "*a";
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(MatchesPattern(std::string(2000, 'a'), pattern + "b"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

} // namespace
} // namespace delivery
