#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "lum/common/lumutil.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

class Files : public testing::Test {
protected:
    TempDir m_dir;
};

} // namespace

TEST_F(Files, Existence) {
    const std::string file = m_dir.Write("folder/file", "");
    fs::create_symlink(file, m_dir / "link");
    fs::create_directory_symlink(m_dir / "folder", m_dir / "folder link");
    fs::create_symlink("nowhere", m_dir / "dangling");
    struct {
        const char *name;
        bool exists, folder, link;
    } const cases[] = {
        {"folder", true, true, false},
        {"folder/file", true, false, false},
        {"link", true, false, true},
        {"folder link", true, false, true},
        {"dangling", false, false, true},
        {"missing", false, false, false},
        {"folder link/file", true, false, false},
        {"folder/file/x", false, false, false},
    };
    for (const auto &c : cases) {
        const std::string path = m_dir / c.name;
        EXPECT_EQ(FileExists(path), c.exists) << path;
        EXPECT_EQ(isDir(path.c_str()), c.folder) << path;
        EXPECT_EQ(isLink(path.c_str()), c.link) << path;
    }
    EXPECT_FALSE(FileExists(""));

    const TraceRecorder recorder;
    EXPECT_FALSE(isDir(nullptr));
    EXPECT_FALSE(isLink(nullptr));
    EXPECT_THAT(recorder.Texts(3), ElementsAre(StartsWith("ASSERT path failed at file lum/common/lumutil, line "),
                                               StartsWith("ASSERT path failed at file lum/common/lumutil, line ")));
}

TEST_F(Files, LibraryExistsWhenItsLinkCanBeRenewed) {
    const std::string library = m_dir.Write("libfoo-1.2.dylib", "");
    EXPECT_FALSE(FileExists(library));
    m_dir.Write("libfoo.dylib", "");
    EXPECT_TRUE(FileExists(library));
    EXPECT_EQ(fs::read_symlink(m_dir / "libfoo.dylib"), library);
    EXPECT_FALSE(FileExists(m_dir / "libbar-1.2.dylib"));
}

TEST_F(Files, MakeDirectoryMakesOneLevel) {
    umask(0002);
    const std::string folder = m_dir / "a";
    EXPECT_FALSE(MakeDirectory((folder + "/b").c_str()));
    EXPECT_TRUE(MakeDirectory(folder.c_str()));
    EXPECT_FALSE(MakeDirectory(folder.c_str()));
    EXPECT_TRUE(MakeDirectory((folder + "/b").c_str()));
    EXPECT_EQ(fs::status(folder).permissions(), static_cast<fs::perms>(0775));
    EXPECT_FALSE(MakeDirectory(nullptr));
}

TEST_F(Files, TempFileNameIsTheFirstFreeOne) {
    const std::string folder = m_dir.path().string() + "/";
    for (const char *name : {"p1.tmp", "p2.tmp", "p3.tmp", "p5.tmp", "q4.tmp"}) {
        m_dir.Write(name, "");
    }
    std::string out;
    EXPECT_EQ(GetTempFileName(folder, "p", out), 4U);
    EXPECT_EQ(out, folder + "p4.tmp");
    EXPECT_EQ(GetTempFileName(folder, "p", out), 4U);
    m_dir.Write("p4.tmp", "");
    EXPECT_EQ(GetTempFileName(folder, "p", out), 6U);
    EXPECT_EQ(GetTempFileName(folder, "r", out), 6U); // one count for all
}

TEST_F(Files, TempFileNamesComeToAnEnd) {
    const std::string folder = m_dir.path().string() + "/";
    for (int number = 1; number < 10000; ++number) {
        EXPECT_EQ(symlink("/", (folder + std::to_string(number) + ".tmp").c_str()), 0);
    }
    std::string out;
    EXPECT_EQ(GetTempFileName(folder, "", out), 0U);
    EXPECT_EQ(out, folder + "9999.tmp");
    fs::remove(folder + "9999.tmp");
    EXPECT_EQ(GetTempFileName(folder, "", out), 9999U);
}

TEST(Folders, OfTheSession) {
    const TraceRecorder recorder;
    const fs::path temp = GetTempPath();
    EXPECT_TRUE(fs::is_directory(temp)) << temp;
    const std::string support = GetApplicationSupportDirectory();
    const char *home = getenv("HOME");
    ASSERT_NE(home, nullptr);
    EXPECT_THAT(support, StartsWith(std::string(home) + "/"));
    EXPECT_THAT(recorder.traces(), testing::IsEmpty());
}
