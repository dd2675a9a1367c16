#include <gtest/gtest.h>
#include <sys/time.h>

#include <filesystem>

#import <Foundation/Foundation.h>
#import <objc/runtime.h>

#include "lum/common/lumutil.h"
#include "lum/common/TickOrigin.h"
#include "tests/lum/common/WithoutRootPowers.h"
#include "tests/support/Gmock.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

enum Level { kInfo = 1, kWarn = 2, kError = 3 };

std::vector<std::string> NamesIn(const fs::path &folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

void Lock(const fs::path &folder) {
    fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
}

// Makes the file manager fail at every removal.
class RefusingFileManager {
public:
    RefusingFileManager()
        : m_before(method_setImplementation(Removal(), reinterpret_cast<IMP>(reinterpret_cast<void (*)()>(Refuse)))) {}
    ~RefusingFileManager() {
        method_setImplementation(Removal(), m_before);
    }

private:
    static BOOL Refuse(id, SEL, NSString *, NSError **) {
        return NO;
    }
    static Method Removal() {
        return class_getInstanceMethod([NSFileManager class], @selector(removeItemAtPath:error:));
    }

    IMP m_before;
};

class RemoveFileTest : public testing::Test {
protected:
    ~RemoveFileTest() override {
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(m_dir.path())) {
            if (!entry.is_symlink() && entry.is_directory()) {
                fs::permissions(entry, fs::perms::owner_all); // so that it can be cleared away
            }
        }
    }

    TempDir m_dir;
    TraceRecorder m_recorder;
};

} // namespace

TEST_F(RemoveFileTest, RemovesFilesLinksAndWholeFolders) {
    const std::string kept = m_dir.Write("kept/file", "x");
    const std::string file = m_dir.Write("file", "x");
    const std::string folder = m_dir / "folder";
    m_dir.Write("folder/a/b/c", "x");
    fs::create_symlink(m_dir / "kept", m_dir / "folder/a/link");
    const std::string link = m_dir / "link";
    fs::create_symlink(m_dir / "kept", link);
    const std::string dangling = m_dir / "dangling";
    fs::create_symlink(m_dir / "nowhere", dangling);

    for (const std::string &path : {file, folder, link, dangling}) {
        m_recorder.Clear();
        EXPECT_TRUE(RemoveFile(path)) << path;
        EXPECT_TRUE(m_recorder.Has("RemoveFile: remove file[" + path + "] success!", kInfo)) << path;
        EXPECT_EQ(m_recorder.traces().size(), 1U) << path;
    }
    EXPECT_THAT(NamesIn(m_dir.path()), ElementsAre("kept"));
    EXPECT_TRUE(fs::exists(kept));
}

TEST_F(RemoveFileTest, ASlashBehindALinksNameDoesNotReachItsTarget) {
    m_dir.Write("kept/file", "x");
    m_dir.Write("folder/file", "x");
    for (const auto &[link, target] : {std::pair("link", "kept"), std::pair("dangling", "nowhere")}) {
        fs::create_symlink(m_dir / target, m_dir / link);
    }
    for (const char *name : {"link/", "dangling//", "folder/"}) {
        EXPECT_TRUE(RemoveFile(m_dir / name)) << name;
    }
    EXPECT_FALSE(RemoveFile(m_dir / "kept/file/")) << "not a folder";
    EXPECT_THAT(NamesIn(m_dir.path()), ElementsAre("kept"));
    EXPECT_THAT(NamesIn(m_dir.path() / "kept"), ElementsAre("file"));
}

TEST_F(RemoveFileTest, NothingThere) {
    EXPECT_TRUE(RemoveFile(""));
    EXPECT_FALSE(RemoveFile(m_dir / "missing"));
    EXPECT_FALSE(RemoveFile(m_dir.Write("not \xff text", "x")));
    EXPECT_THAT(m_recorder.traces(), IsEmpty());
}

TEST_F(RemoveFileTest, SystemCallsTakeWhatTheFileManagerRefuses) {
    const std::string file = m_dir.Write("file", "x");
    const std::string folder = m_dir / "folder";
    fs::create_directory(folder);
    const std::string link = m_dir / "link";
    fs::create_directory_symlink(m_dir.path(), link);
    const RefusingFileManager refusing;

    for (const std::string &path : {file, folder, link}) {
        m_recorder.Clear();
        EXPECT_TRUE(RemoveFile(path)) << path;
        EXPECT_THAT(m_recorder.Texts(kWarn), ElementsAre("RemoveFile: remove file[" + path + "] failed!"));
        EXPECT_THAT(m_recorder.Texts(kInfo),
                    ElementsAre("RemoveFile: remove file[" + path + "] success after using c func"));
    }
    EXPECT_THAT(NamesIn(m_dir.path()), IsEmpty());
}

TEST_F(RemoveFileTest, FolderThatCannotBeEmptiedIsLeftUnderAHiddenName) {
    m_dir.Write("folder/locked/file", "x");
    const std::string folder = m_dir / "folder";
    Lock(folder + "/locked");
    {
        const WithoutRootPowers powers;
        EXPECT_TRUE(RemoveFile(folder));
    }
    EXPECT_THAT(NamesIn(m_dir.path()), ElementsAre(StartsWith(".folder.")));
    EXPECT_THAT(m_recorder.Texts(kWarn), ElementsAre("RemoveFile: remove file[" + folder + "] failed!"));
    EXPECT_THAT(m_recorder.Texts(kError), IsEmpty());
}

TEST_F(RemoveFileTest, OtherNameWhenTheHiddenOneIsTooLong) {
    GetTickCount();
    TickOrigin().tv_sec -= 1000000; // ten digits in the hidden name
    const std::string name(248, 'n');
    m_dir.Write(name + "/locked/file", "x");
    Lock(m_dir / (name + "/locked"));
    {
        const WithoutRootPowers powers;
        EXPECT_TRUE(RemoveFile(m_dir / name));
    }
    EXPECT_THAT(NamesIn(m_dir.path()), ElementsAre(name + ".deltmp"));
}

TEST_F(RemoveFileTest, StaysWhenItsFolderIsLocked) {
    const std::string file = m_dir.Write("locked/file", "x");
    Lock(m_dir / "locked");
    const WithoutRootPowers powers;

    EXPECT_FALSE(RemoveFile(file));
    EXPECT_TRUE(fs::exists(file));
    EXPECT_THAT(m_recorder.Texts(kError), ElementsAre("RemoveFile: remove file[%s] again, still failed!"));
}
