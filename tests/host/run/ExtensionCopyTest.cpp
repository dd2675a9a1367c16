// The user's copy of the extension.
#include "host/run/ExtensionCopy.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "tests/support/TempDir.h"

using lumhost::RefreshCopy;
namespace fs = std::filesystem;

namespace {

TEST(ExtensionCopy, IsRefreshedWhenItDiffers) {
    const TempDir place;
    const fs::path own = place / "lumext.bundle";
    const fs::path copy = place / "support/Kelvo Folder/lumext.bundle";
    place.Write("lumext.bundle/lumext", "code 1");
    place.Write("lumext.bundle/Resources/texts", std::string(600'000, 'x'));
    const auto written = [&] { return fs::last_write_time(copy); };

    ASSERT_TRUE(RefreshCopy(own, copy));
    EXPECT_EQ("code 1", ReadFile(copy / "lumext"));
    const auto before = written();
    ASSERT_TRUE(RefreshCopy(own, copy));
    EXPECT_EQ(before, written()) << "nothing is written when nothing differs";

    const auto change = [&](const char *what, auto changeCopy) {
        SCOPED_TRACE(what);
        changeCopy();
        ASSERT_TRUE(RefreshCopy(own, copy));
        EXPECT_EQ("code 1", ReadFile(copy / "lumext"));
        EXPECT_EQ(std::string(600'000, 'x'), ReadFile(copy / "Resources/texts"));
        EXPECT_FALSE(fs::exists(copy / "more"));
        EXPECT_FALSE(fs::is_symlink(copy / "lumext"));
        std::size_t entries = 0;
        for (const auto &entry : fs::directory_iterator(copy.parent_path())) {
            entries += entry.is_directory();
        }
        EXPECT_EQ(1U, entries) << "nothing is left of the change";
    };
    const auto write = [&](const char *name, const std::string &content) {
        return [=] { std::ofstream(copy / name) << content; };
    };
    change("other code of the same length", write("lumext", "code 2"));
    change("other code of another length", write("lumext", "code 11"));
    change("the last byte of a large file", write("Resources/texts", std::string(599'999, 'x') + "y"));
    change("a file too many", write("more", ""));
    change("a file missing", [&] { fs::remove(copy / "lumext"); });
    change("a link in place of a file", [&] {
        fs::rename(copy / "lumext", copy.parent_path() / "aside");
        fs::create_symlink("../aside", copy / "lumext");
    });
    change("a file in place of the bundle", [&] {
        fs::remove_all(copy);
        std::ofstream(copy) << "x";
    });
    change("left-overs of a killed process", [&] {
        fs::create_directories(copy.parent_path() / ".lumext.bundle.new/half");
        fs::remove_all(copy);
    });
}

TEST(ExtensionCopy, IsTheUsersAlone) {
    const TempDir place;
    place.Write("lumext.bundle/lumext", "code");
    const mode_t before = umask(0);
    EXPECT_TRUE(RefreshCopy(place / "lumext.bundle", place / "support/Kelvo Folder/lumext.bundle"));
    umask(before);
    EXPECT_EQ(fs::perms::owner_all, fs::status(place / "support/Kelvo Folder").permissions());
}

} // namespace
