// The main of every test program: a home and a temporary folder of its own, and an autorelease pool.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "tests/support/TempDir.h"

#import <Foundation/Foundation.h>

namespace {

void MoveInto(const TempDir &place) {
    const std::string home = place / "home";
    const std::string tmp = place / "tmp";
    for (const std::string &folder : {home, tmp}) {
        std::filesystem::create_directory(folder);
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    }
    setenv("HOME", home.c_str(), 1);
    setenv("TMPDIR", tmp.c_str(), 1);
    setenv("TMP", tmp.c_str(), 1); // the notification daemon's socket follows this one
    for (const char *proxy : {"http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        unsetenv(proxy);
    }
}

} // namespace

int main(int argc, char **argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (::testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    const TempDir place;
    MoveInto(place);
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    const int result = RUN_ALL_TESTS();
    [pool drain];
    return result;
}
