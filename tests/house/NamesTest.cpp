// Names, sizes and places of files.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>

#include "tests/house/SourceFile.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;

namespace {

const fs::path kRoot = LUM_SOURCE_FOLDER;

// Units whose names are given; a part of one is named after it (lumext_heartbeat.mm). Programs have a main file.
const std::set<std::string> kGivenNames = {
    "lumutil",         "lumext",          "lumextInterface",   "luminstallationmgr",
    "lumdownloaditem", "versionfordylib", "makeframeworklink", "main",
};
// The target system names these headers.
const std::string kSystemHeaders = "lum/platform/linux/include/";
// An example in C, named as its document links to it.
const std::string kExample = "docs/minimal-container.c";

constexpr std::ptrdiff_t kMaximumLines = 450;
constexpr std::ptrdiff_t kMaximumTestLines = 600; // tables of cases
constexpr int kMaximumSources = 25;

// Folders of tests that are about no single folder.
const std::set<std::string> kWholeProgramTests = {"container", "house"};

bool IsHeader(const fs::path &source) {
    return source.extension() == ".h" || source.extension() == ".hpp";
}

bool IsBelow(const fs::path &source, const std::string &folder) {
    return source.string().starts_with(folder);
}

// CamelCase, perhaps with the part of a unit behind it (CPluginView_launch).
bool IsWellNamed(const fs::path &source) {
    static const std::regex camelCase("[A-Z][A-Za-z0-9]*(_[a-z]+)?");
    const std::string stem = source.stem();
    return kGivenNames.contains(stem.substr(0, stem.find('_'))) || std::regex_match(stem, camelCase);
}

} // namespace

TEST(Names, FilesAreNamedAfterTheirSubject) {
    for (const char *good : {"Url.cpp", "CPluginView_launch.cpp", "lumext_heartbeat.mm", "main.mm"}) {
        EXPECT_TRUE(IsWellNamed(good)) << good;
    }
    for (const char *bad : {"url.cpp", "transfer_thread.cpp", "Transfer-Thread.h", "lumextra.h"}) {
        EXPECT_FALSE(IsWellNamed(bad)) << bad;
    }
    for (const fs::path &source : SourcesBelow(kRoot)) {
        EXPECT_TRUE(IsWellNamed(source) || IsBelow(source, kSystemHeaders) || source == kExample) << source;
    }
}

TEST(Names, SourcesAreShort) {
    for (const fs::path &source : SourcesBelow(kRoot)) {
        const std::string text = ReadFile(kRoot / source);
        EXPECT_LE(std::ranges::count(text, '\n'), IsBelow(source, "tests/") ? kMaximumTestLines : kMaximumLines)
            << source;
    }
}

TEST(Names, FoldersAreSmall) {
    std::map<std::string, int> sources;
    for (const fs::path &source : SourcesBelow(kRoot)) {
        sources[source.parent_path()] += IsHeader(source) ? 0 : 1;
    }
    for (const auto &[folder, count] : sources) {
        EXPECT_LE(count, kMaximumSources) << folder;
    }
}

TEST(Names, TestsLieWhereTheirSubjectDoes) {
    static const std::regex test(".*Test\\.(cpp|mm)");
    for (const fs::path &source : SourcesBelow(kRoot)) {
        if (!IsBelow(source, "tests/") || !std::regex_match(source.string(), test)) {
            continue;
        }
        const std::string folder = source.parent_path().string().substr(std::string("tests/").size());
        EXPECT_TRUE(kWholeProgramTests.contains(folder) || fs::is_directory(kRoot / folder))
            << source << " tests a folder that does not exist";
    }
}
