#include <gmock/gmock.h>

#include <filesystem>

#include "lum/common/versionfordylib.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

enum { kError = 3 };

class Dylib : public testing::Test {
protected:
    void WriteAll(std::initializer_list<const char *> names) {
        for (const char *name : names) {
            m_dir.Write(name, "");
        }
    }

    std::vector<std::string> Names() {
        std::vector<std::string> names;
        for (const fs::directory_entry &entry : fs::directory_iterator(m_dir.path())) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    FSRef Ref(const std::string &path) {
        FSRef ref{};
        EXPECT_EQ(FSPathMakeRef(reinterpret_cast<const UInt8 *>(path.c_str()), &ref, nullptr), noErr);
        return ref;
    }

    std::string Path(const FSRef &ref) {
        char path[1024] = "";
        EXPECT_EQ(FSRefMakePath(&ref, reinterpret_cast<UInt8 *>(path), sizeof path), noErr);
        return path;
    }

    std::string Version(const std::string &path) {
        std::string version = "none";
        const bool found = GetVersionFromDylib(path, version, nullptr);
        EXPECT_EQ(found, version != "none") << path;
        return version;
    }

    TempDir m_dir;
    TraceRecorder m_recorder;
};

} // namespace

TEST_F(Dylib, VersionOfTheFirstOfTheFamily) {
    WriteAll({"aaa-9.dylib", "LibFoo-9.dylib", "libbar-1.0.dylib", "libfoo-.dylib", "libfoo-2.1.3.dylib",
              "libfoo-3.0.dylib", "libfoo-1.0.so", "libfoo-zed", "libfoo.dylib", "libodd.1-2", "libtwo-a-b.dylib"});
    fs::create_directory(m_dir / "libfoo-0.dylib");
    fs::create_symlink("aaa-9.dylib", m_dir / "libfoo-1.dylib");
    const std::pair<const char *, const char *> cases[] = {
        {"libfoo-1.0.dylib", "2,1,3"}, // need not exist
        {"libfoo-.dylib", "2,1,3"},
        {"libfoo-1.so", "1,0"},
        {"libbar-7.dylib", "1,0"},
        {"libbar-7.so", "none"},
        {"libba-7.dylib", "none"},
        {"LibFoo-1.dylib", "9"},
        {"libtwo-1.dylib", "a-b"},
        {"libfoo.dylib", "9"}, // no "-": any file
        {"-1.so", "1,0"},      // an empty prefix
        {"libfoo-2", "1,0"},   // an empty extension
    };
    for (const auto &[name, version] : cases) {
        EXPECT_EQ(Version(m_dir / name), version) << name;
    }
    EXPECT_EQ(Version("libfoo-1.0.dylib"), "none"); // no folder in the path
    EXPECT_THAT(m_recorder.traces(), IsEmpty());

    std::string version;
    FSRef found{};
    EXPECT_TRUE(GetVersionFromDylib(m_dir / "libfoo-1.dylib", version, &found));
    EXPECT_EQ(Path(found), m_dir / "libfoo-2.1.3.dylib");
}

TEST_F(Dylib, FolderThatCannotBeListedIsTraced) {
    const std::string missing = m_dir / "missing";
    EXPECT_EQ(Version(missing + "/libfoo-1.dylib"), "none");
    const std::string file = m_dir.Write("file", "");
    EXPECT_EQ(Version(file + "/libfoo-1.dylib"), "none");
    EXPECT_THAT(m_recorder.Texts(kError),
                ElementsAre("GetVersionFromDylib, Cannot find folder(" + missing + ")",
                            "GetVersionFromDylib, Cannot find folder(" + file + ")'s file list"));
}

TEST_F(Dylib, LinkIsRenewed) {
    const std::string library = m_dir.Write("libfoo-2.1.3.dylib", "");
    const std::string link = m_dir / "libfoo.dylib";

    EXPECT_FALSE(IsDylibFileExists(library.c_str(), 0));
    EXPECT_FALSE(IsDylibFileExists((m_dir / "libbar-1.dylib").c_str(), 1));
    EXPECT_THAT(m_recorder.traces(), IsEmpty());

    EXPECT_FALSE(IsDylibFileExists(library.c_str(), 1)); // nothing to renew
    EXPECT_FALSE(fs::exists(link));
    EXPECT_THAT(m_recorder.Texts(kError), ElementsAre("try to unlink file(" + link + ") failed"));

    m_recorder.Clear();
    fs::create_symlink("nowhere", link);
    EXPECT_TRUE(IsDylibFileExists(library.c_str(), 1));
    EXPECT_EQ(fs::read_symlink(link), library);
    EXPECT_TRUE(IsDylibFileExists(library.c_str(), 1));
    EXPECT_THAT(m_recorder.traces(), IsEmpty());
}

TEST_F(Dylib, LinkNameIsCutAtTheLastDashOfThePath) {
    const std::string library = m_dir.Write("the-folder/a/libfoo.dylib", "");
    fs::create_symlink("nowhere", m_dir / "the.dylib");
    EXPECT_TRUE(IsDylibFileExists(library.c_str(), 1));
    EXPECT_EQ(fs::read_symlink(m_dir / "the.dylib"), library);
}

TEST_F(Dylib, LinkOrFolderInPlaceOfTheLibraryIsRemoved) {
    const std::string library = m_dir / "libfoo-1.dylib";
    for (const bool folder : {false, true}) {
        for (const int makeLink : {0, 1}) {
            folder ? fs::create_directory(library) : (fs::create_symlink("nowhere", library), true);
            m_dir.Write("libfoo.dylib", "");
            EXPECT_FALSE(IsDylibFileExists(library.c_str(), makeLink));
            EXPECT_FALSE(fs::exists(fs::symlink_status(library))) << folder << makeLink;
            EXPECT_EQ(fs::exists(m_dir / "libfoo.dylib"), makeLink == 0) << folder << makeLink;
        }
    }
    EXPECT_THAT(m_recorder.traces(), IsEmpty());
    fs::create_directory(library);
    EXPECT_FALSE(IsDylibFileExists(library.c_str(), 1));
    EXPECT_THAT(m_recorder.Texts(kError), ElementsAre("try to unlink file(" + (m_dir / "libfoo.dylib") + ") failed"));
}

TEST_F(Dylib, NullAndEmptyPathsAreReported) {
    EXPECT_FALSE(IsDylibFileExists(nullptr, 1));
    EXPECT_FALSE(IsDylibFileExists("", 1));
    EXPECT_THAT(m_recorder.Texts(kError),
                ElementsAre("ASSERT inOriginalFile failed at file lum/common/versionfordylib, line 355\r\n",
                            "ASSERT strlen(inOriginalFile) failed at file lum/common/versionfordylib, line 356\r\n"));
}

TEST_F(Dylib, DeleteFilesTakesAFamily) {
    const auto names = {"libfoo-1.dylib", "libfoo-2.1.dylib", "libfoo.dylib", "libfoo-1.bundle",
                        "libfood.dylib",  "LIBFOO-1.dylib",   "libfoo",       "libfoo.1.dylib"};
    WriteAll(names);
    fs::create_directory(m_dir / "libfoo-2.dylib");
    fs::create_symlink("libfood.dylib", m_dir / "libfoo-3.dylib");

    DeleteFiles(m_dir.path(), "libfoo", "dylib");
    EXPECT_THAT(Names(), UnorderedElementsAre("libfoo-1.bundle", "libfood.dylib", "LIBFOO-1.dylib", "libfoo",
                                              "libfoo.1.dylib", "libfoo-2.dylib"));
    DeleteFiles(m_dir.path(), "libfoo", "");
    EXPECT_THAT(Names(),
                UnorderedElementsAre("libfood.dylib", "LIBFOO-1.dylib", "libfoo", "libfoo.1.dylib", "libfoo-2.dylib"));
    DeleteFiles(m_dir.path(), "", "dylib");
    EXPECT_THAT(Names(), UnorderedElementsAre("libfoo", "libfoo-2.dylib"));
    DeleteFiles(m_dir.path(), "", "");
    EXPECT_THAT(Names(), ElementsAre("libfoo-2.dylib"));
    DeleteFiles(m_dir / "missing", "", "");
    EXPECT_THAT(m_recorder.traces(), IsEmpty());
}

TEST_F(Dylib, DirectoryItems) {
    FSRef *items = nullptr;
    ItemCount count = 99;
    Boolean changed = true;
    FSRef folder = Ref(m_dir.path());
    EXPECT_EQ(FSGetDirectoryItems(&folder, nullptr, &count, &changed), paramErr);
    EXPECT_EQ(FSGetDirectoryItems(&folder, &items, nullptr, &changed), paramErr);
    EXPECT_EQ(FSGetDirectoryItems(&folder, &items, &count, nullptr), paramErr);

    for (const std::size_t wanted : {0U, 1U, 10U, 11U, 40U}) { // around the number fetched at a time
        while (Names().size() < wanted) {
            m_dir.Write("item" + std::to_string(100 + Names().size()), "");
        }
        ASSERT_EQ(FSGetDirectoryItems(&folder, &items, &count, &changed), noErr);
        ASSERT_EQ(count, wanted);
        EXPECT_FALSE(changed);
        for (std::size_t i = 0; i < wanted; ++i) {
            EXPECT_EQ(Path(items[i]), m_dir / ("item" + std::to_string(100 + i)));
        }
        free(items);
    }

    FSRef file = Ref(m_dir / "item100");
    EXPECT_NE(FSGetDirectoryItems(&file, &items, &count, &changed), noErr);
    EXPECT_EQ(items, nullptr);
    EXPECT_EQ(count, 0U);
}
