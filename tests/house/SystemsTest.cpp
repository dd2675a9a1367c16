// Which sources are for which system, and that a compiler sees every one of them.
#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "tests/house/SourceFile.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;

namespace {

const fs::path kRoot = LUM_SOURCE_FOLDER;

enum class System { Any, Linux, Mac };

// By its folder, or by the part of its name after "_", as docs/dev/adding.md says.
System SystemOf(const fs::path &source) {
    const std::string stem = source.stem();
    if (source.string().starts_with("lum/platform/mac/") || stem.ends_with("_mac")) {
        return System::Mac;
    }
    const bool ofLinux = source.string().starts_with("lum/platform/linux/") || stem.ends_with("_xcb");
    return ofLinux || stem.ends_with("_pango") ? System::Linux : System::Any;
}

bool IsOfAProgram(const fs::path &source) {
    static const std::regex programs("(base|delivery|fuzzywindow|host|lum|site|theme)/.*\\.(c|cpp|m|mm)");
    return std::regex_match(source.string(), programs);
}

// What each source is compiled to in this build, relative to the build folder.
std::multimap<std::string, std::string> Objects() {
    static const std::regex entry(" -o ([^ ]+) -c ([^ \"]+)\"");
    const std::string commands = ReadFile(LUM_COMPILE_COMMANDS);
    std::multimap<std::string, std::string> objects;
    for (std::sregex_iterator found(commands.begin(), commands.end(), entry), end; found != end; ++found) {
        objects.emplace(fs::path((*found)[2].str()).lexically_relative(kRoot), (*found)[1]);
    }
    return objects;
}

} // namespace

TEST(Systems, ASourceTellsItsSystem) {
    EXPECT_EQ(SystemOf("lum/platform/mac/Session.mm"), System::Mac);
    EXPECT_EQ(SystemOf("base/WindowServer_mac.cpp"), System::Mac);
    EXPECT_EQ(SystemOf("lum/platform/linux/files/FSRef.cpp"), System::Linux);
    EXPECT_EQ(SystemOf("base/WindowServer_xcb.cpp"), System::Linux);
    EXPECT_EQ(SystemOf("lum/platform/UserFolders.mm"), System::Any);
    EXPECT_EQ(SystemOf("lum/lumext/lumext_packages.cpp"), System::Any);
}

// What is for macOS is only checked here, by a target of the tests; it must not get into a program for Linux.
TEST(Systems, EverySourceIsCompiled) {
    const auto objects = Objects();
    ASSERT_GT(objects.size(), 300U) << "looking in the wrong place: " << LUM_COMPILE_COMMANDS;
    for (const fs::path &source : SourcesBelow(kRoot)) {
        if (!IsOfAProgram(source)) {
            continue;
        }
        bool inTests = false;
        bool inPrograms = false;
        const auto [begin, end] = objects.equal_range(source);
        for (auto object = begin; object != end; ++object) {
            (object->second.starts_with("tests/") ? inTests : inPrograms) = true;
        }
        const bool forMac = SystemOf(source) == System::Mac;
        EXPECT_TRUE(forMac ? inTests : inPrograms) << source << " is compiled nowhere";
        EXPECT_FALSE(forMac && inPrograms) << source << " is for macOS";
    }
}
