#include <Carbon/Carbon.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

OSStatus MakeRef(const std::string &path, FSRef &ref, Boolean *isDirectory = nullptr) {
    return FSPathMakeRef(reinterpret_cast<const UInt8 *>(path.c_str()), &ref, isDirectory);
}

std::string PathOf(const FSRef &ref) {
    UInt8 path[1024];
    EXPECT_EQ(FSRefMakePath(&ref, path, sizeof path), noErr);
    return reinterpret_cast<const char *>(path);
}

class Folder : public testing::Test {
protected:
    FSIterator Open() {
        FSRef ref;
        EXPECT_EQ(MakeRef(m_folder.path(), ref), noErr);
        FSIterator iterator = nullptr;
        EXPECT_EQ(FSOpenIterator(&ref, kFSIterateFlat, &iterator), noErr);
        return iterator;
    }

    TempDir m_folder;
};

TEST_F(Folder, IsSortedWithoutRegardToCase) {
    const std::vector<std::string> sorted = {".hidden", "a-1.dylib", "B-1.dylib", "b-1.dylib",
                                             "b.dylib", "c_.dylib",  "Ca.dylib",  "\xC3\xA9"};
    for (const std::string &name : sorted) {
        m_folder.Write(name, "");
    }
    FSIterator iterator = Open();
    FSRef refs[10];
    ItemCount count = 0;
    ASSERT_EQ(FSGetCatalogInfoBulk(iterator, 10, &count, nullptr, kFSCatInfoNone, nullptr, refs, nullptr, nullptr),
              errFSNoMoreItems);
    std::vector<std::string> names;
    for (ItemCount i = 0; i < count; ++i) {
        names.push_back(fs::path(PathOf(refs[i])).filename());
    }
    EXPECT_EQ(names, sorted);
    EXPECT_EQ(FSCloseIterator(iterator), noErr);
}

TEST_F(Folder, IsGivenInBatches) {
    struct Case {
        int files;
        std::vector<ItemCount> batches;
    };
    // The batch that reaches the end says so; an end that falls between two batches takes an empty one.
    const Case cases[] = {{0, {0}}, {9, {9}}, {10, {10, 0}}, {23, {10, 10, 3}}};
    int made = 0;
    for (const Case &c : cases) {
        for (; made < c.files; ++made) {
            m_folder.Write("file" + std::to_string(made), "");
        }
        FSIterator iterator = Open();
        std::vector<ItemCount> batches;
        OSErr error = noErr;
        while (error == noErr) {
            FSRef refs[10];
            ItemCount count = 99;
            Boolean changed = true;
            error =
                FSGetCatalogInfoBulk(iterator, 10, &count, &changed, kFSCatInfoNone, nullptr, refs, nullptr, nullptr);
            EXPECT_FALSE(changed);
            batches.push_back(count);
        }
        EXPECT_EQ(error, errFSNoMoreItems);
        EXPECT_EQ(batches, c.batches) << c.files;
        FSCloseIterator(iterator);
    }
}

TEST_F(Folder, TellsOfChangesAndGoesOnAsItWas) {
    m_folder.Write("a", "");
    FSIterator iterator = Open();
    usleep(20'000); // more than the clock step of a file system
    fs::remove(m_folder.path() / "a");
    m_folder.Write("b", "");
    FSRef ref;
    ItemCount count = 0;
    Boolean changed = false;
    EXPECT_EQ(FSGetCatalogInfoBulk(iterator, 1, &count, &changed, kFSCatInfoNone, nullptr, &ref, nullptr, nullptr),
              noErr);
    EXPECT_TRUE(changed);
    EXPECT_EQ(PathOf(ref), m_folder / "a");
    Boolean alias = false;
    Boolean folder = false;
    EXPECT_EQ(FSIsAliasFile(&ref, &alias, &folder), fnfErr);
    FSCloseIterator(iterator);
}

TEST_F(Folder, CannotBeOpenedWhenItIsNone) {
    FSRef ref;
    FSIterator iterator = nullptr;
    ASSERT_EQ(MakeRef(m_folder.Write("file", ""), ref), noErr);
    EXPECT_EQ(FSOpenIterator(&ref, kFSIterateFlat, &iterator), errFSNotAFolder);
    fs::remove(m_folder.path() / "file");
    EXPECT_EQ(FSOpenIterator(&ref, kFSIterateFlat, &iterator), fnfErr);
    const FSRef nothing = {};
    EXPECT_EQ(FSOpenIterator(&nothing, kFSIterateFlat, &iterator), paramErr);
}

TEST_F(Folder, RefTellsLinksFromWhatTheyPointTo) {
    m_folder.Write("folder/file", "");
    for (const char *target : {"folder", "folder/file", "nowhere"}) {
        fs::create_symlink(target, m_folder.path() / ("link to " + fs::path(target).filename().string()));
    }
    struct Case {
        const char *name;
        bool isAlias;
        bool isFolder;
    };
    const Case cases[] = {{"folder", false, true},
                          {"folder/file", false, false},
                          {"link to folder", true, false},
                          {"link to file", true, false},
                          {"link to nowhere", true, false}};
    for (const Case &c : cases) {
        FSRef ref;
        Boolean alias = 9;
        Boolean folder = 9;
        Boolean isDirectory = 9;
        ASSERT_EQ(MakeRef(m_folder / c.name, ref, &isDirectory), noErr) << c.name;
        EXPECT_EQ(FSIsAliasFile(&ref, &alias, &folder), noErr);
        EXPECT_EQ(alias, c.isAlias) << c.name;
        EXPECT_EQ(folder, c.isFolder) << c.name;
        EXPECT_EQ(isDirectory, c.isFolder) << c.name;
    }
}

TEST_F(Folder, RefKeepsAbsolutePaths) {
    const std::string deep = m_folder.Write(std::string(200, 'd') + "/" + std::string(200, 'f'), "");
    fs::current_path(m_folder.path());
    m_folder.Write("here", "");
    FSRef ref;
    ASSERT_EQ(MakeRef(deep, ref), noErr);
    EXPECT_EQ(PathOf(ref), deep);
    ASSERT_EQ(MakeRef("here", ref), noErr);
    EXPECT_EQ(PathOf(ref), m_folder / "here");
    ASSERT_EQ(MakeRef(m_folder.path().string() + "//", ref), noErr);
    EXPECT_EQ(PathOf(ref), m_folder.path());

    std::vector<UInt8> room(m_folder.path().string().size());
    EXPECT_EQ(FSRefMakePath(&ref, room.data(), static_cast<UInt32>(room.size())), pathTooLongErr);
    room.push_back(1);
    EXPECT_EQ(FSRefMakePath(&ref, room.data(), static_cast<UInt32>(room.size())), noErr);
    EXPECT_EQ(room.back(), 0);

    EXPECT_EQ(MakeRef(m_folder / "missing", ref), fnfErr);
    EXPECT_EQ(MakeRef("", ref), paramErr);
    EXPECT_EQ(FSPathMakeRef(nullptr, &ref, nullptr), paramErr);
}

} // namespace
