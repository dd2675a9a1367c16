#include "delivery/instructions/ListJudgement.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "tests/support/TempDir.h"

using namespace delivery;
using testing::HasSubstr;

namespace {

TEST(ListJudgement, NothingOutsideKelvoFolder) {
    const TempDir place;
    const std::string kelvo = place / "Kelvo Folder";
    std::filesystem::create_directories(kelvo + "/2.4");
    std::filesystem::create_directory_symlink(kelvo + "/2.4", kelvo + "/current");
    std::filesystem::create_directory_symlink(place.path(), kelvo + "/out");
    std::string padded = "/";
    while (padded.size() < 990) {
        padded += "./";
    }
    struct Case {
        std::string name;
        std::string target;
        std::string version;
        const char *why; // null: nothing is wrong
    };
    const Case cases[] = {
        {"Hall.app", "", "2,4,1,0", nullptr},
        {"libsound.dylib", "shared", "1,0", nullptr},
        {"Hall.app/Contents/Part.bundle", "", "1", nullptr},
        {"...", "%systems%", "..", nullptr},
        {"x", kelvo, "1", nullptr},
        {"x", kelvo + "//./2.4/", "1", nullptr},
        {"x", kelvo + "/current", "1", nullptr},
        {"x", "/etc", "1", "outside"},
        {"Kelvo Folder", place.path().string(), "1", "outside"},
        {"x", kelvo + "x/", "1", "outside"},
        {"x", kelvo + "/../", "1", "\"..\""},
        {"x", kelvo + "/out/2.4", "1", "a link leads"},
        {"out/x", "", "1", nullptr}, // not the link, which is not in 2.4
        {"out/x", "shared", "1", "a link leads"},
        {"x", "sub/folder", "1", "relative"},
        {"x", "./", "1", "relative"},
        {"x", "%System%", "1", "no folder"},
        {"x", "%extension%", "1", "no folder"},
        {"../x", "", "1", "name"},
        {"", "", "1", "name"},
        {".", "", "1", "name"},
        {"a//b", "", "1", "name"},
        {"/x", "", "1", "name"},
        {"x/", "", "1", "name"},
        {"liba.dylib", "", "1/../../../x", "version"},
        {"x", padded + kelvo, "1", "longer"}, // cut, this would be the root
        {"lumext.bundle", "shared", "1", "lumhost itself"},
        {"lumext.bundle/lumext", kelvo, "1", "lumhost itself"},
        {"lumext.bundle", "", "1", nullptr}, // in 2.4
    };
    const InstallPlaces places{kelvo, "Hall.app", "2.4", {"lumext.bundle"}};
    for (const Case &test : cases) {
        const std::string file = "[Kelvo]\nFile1=ok;u;;1;1;1;a;size;;0\nFile2=" + test.name + ";u;" + test.target +
                                 ";" + test.version + ";1;1;a;size;;0\n";
        const base::Result<void> judged = JudgeItems(ListedItems(file, "kelvo", places), places);
        EXPECT_EQ(test.why == nullptr, judged.has_value()) << test.name << " " << test.target;
        if (test.why && !judged) {
            EXPECT_THAT(judged.error().text, testing::AllOf(HasSubstr("lummac.ini:3: "), HasSubstr(test.why)));
        }
    }
    const std::pair<const char *, bool> versions[] = {{"2.4", true},    {"", true},       {"2.4/beta", true},
                                                      {"..", false},    {"/../x", false}, {"out", false},
                                                      {"current", true}};
    for (const auto &[version, good] : versions) {
        EXPECT_EQ(good, JudgeDefaultFolder({kelvo, "Hall.app", version, {}}).has_value()) << version;
        EXPECT_TRUE(JudgeDefaultFolder({kelvo, "RmTagMgr.dll", version, {}})) << "takes no version";
    }
}

// What the extension does not read is not judged; everything that it may read is.
TEST(ListJudgement, ReadsWhatTheExtensionReads) {
    const std::string bad = "bad;u;/etc;1;1;1;a;size;;0";
    const std::pair<std::string, std::size_t> files[] = {
        {"[Kelvo]\nCount=1\nFile1=" + bad + "\nFILE2=" + bad + "\n", 2},
        {"[Kelvo]\nFile1=a;b\nFile2=" + bad + "\n", 1}, // too few attributes: skipped, and the next is read
        {"[Kelvo]\nFile2=" + bad + "\n", 0},
        {"[Kelvo]\nFile1=x\nFile2=" + bad + "\n", 0},
        {"[Kelvo]\nFile01=" + bad + "\n[Kelvo]\nFile1=" + bad + "\n", 0},
        {"[Other]\nFile1=" + bad + "\n", 0},
        {"", 0},
    };
    for (const auto &[file, count] : files) {
        EXPECT_EQ(count, ListedItems(file, "Kelvo", {"/kelvo", "", {}, {}}).size()) << file;
    }
}

} // namespace
