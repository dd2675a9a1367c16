// The library as others see it.
#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "tests/fuzzywindow/FakeDelegate.h"
#include "tests/support/ChildProcess.h"

TEST(FuzzyWindowLibrary, ExportsItsTwoFunctionsAlone) {
    std::istringstream lines(OutputOf("nm -D --defined-only --format=just-symbols '" FUZZYWINDOW_LIBRARY "'"));
    std::set<std::string> exported;
    for (std::string line; std::getline(lines, line);) {
        exported.insert(line.substr(0, line.find('@')));
    }
    EXPECT_EQ(exported, (std::set<std::string>{"createLumFuzzyWindow", "destroyLumFuzzyWindow"}));
}

TEST(FuzzyWindowLibrary, NoDelegateNoManager) {
    EXPECT_EQ(createLumFuzzyWindow(nullptr), nullptr);
    destroyLumFuzzyWindow(nullptr);
}
