// The library as others see it.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

#include "tests/fuzzywindow/FakeDelegate.h"

TEST(FuzzyWindowLibrary, ExportsItsTwoFunctionsAlone) {
    FILE *names = popen("nm -D --defined-only --format=just-symbols '" FUZZYWINDOW_LIBRARY "'", "r");
    ASSERT_NE(names, nullptr);
    std::set<std::string> exported;
    char line[1024];
    while (std::fgets(line, sizeof line, names)) {
        exported.insert(std::string(line, std::string(line).find_first_of("@\n")));
    }
    EXPECT_EQ(pclose(names), 0);
    EXPECT_EQ(exported, (std::set<std::string>{"createLumFuzzyWindow", "destroyLumFuzzyWindow"}));
}

TEST(FuzzyWindowLibrary, NoDelegateNoManager) {
    EXPECT_EQ(createLumFuzzyWindow(nullptr), nullptr);
    destroyLumFuzzyWindow(nullptr);
}
