// The record of what was installed.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/installed/ComponentState.h"
#include "host/installed/InstallNotes.h"
#include "host/installed/Installed.h"
#include "host/installed/Removal.h"
#include "tests/support/TempDir.h"

using namespace lumhost;
namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class InstalledTest : public testing::Test {
protected:
    InstalledTest() {
        folders.home = place.path();
        folders.installed = place.path() / "Kelvo Folder";
        folders.data = place.path() / "data";
    }

    std::string WriteBundle(const std::string &name, const std::string &version) const {
        place.Write("Kelvo Folder/2.4/" + name + "/Contents/MacOS/run", "code");
        return place.WriteBundle("Kelvo Folder/2.4/" + name, version);
    }

    ComponentState State(const std::string &name) const {
        for (const ComponentState &state : ComponentStates(folders)) {
            if (state.name == name) {
                return state;
            }
        }
        ADD_FAILURE() << name << " is not there";
        return {};
    }

    const TempDir place;
    Folders folders;
};

TEST_F(InstalledTest, TellsWholeFromBroken) {
    const fs::path bundle = WriteBundle("Hall.app", "2.4.1");
    fs::create_symlink("run", bundle / "Contents/MacOS/link");
    place.Write("Kelvo Folder/2.4/Hall.app/Current", "Contents");
    place.Write("Kelvo Folder/2.4/Hall.app/English.lproj/InfoPlist.strings", "");
    const Installed installed(folders);
    ASSERT_TRUE(installed.Record({Installed::Look(bundle)}));
    EXPECT_TRUE(State("Hall.app").whole());
    EXPECT_EQ("2.4.1", State("Hall.app").version);
    EXPECT_EQ(5U, State("Hall.app").files);

    // A small file became the link whose target it held: that is what the extension does to frameworks.
    fs::remove(bundle / "Current");
    fs::create_symlink("Contents", bundle / "Current");
    EXPECT_TRUE(State("Hall.app").whole());
    place.Write("Kelvo Folder/2.4/Hall.app/English.lproj/InfoPlist.strings", "CFBundleName = \"Branded\";");
    EXPECT_TRUE(State("Hall.app").whole());
    fs::remove(bundle / "Current");
    fs::create_symlink("Elsewhere", bundle / "Current");
    EXPECT_THAT(State("Hall.app").changed, ElementsAre("Hall.app/Current"));

    place.Write("Kelvo Folder/2.4/Hall.app/Contents/MacOS/run", "cod3");
    fs::remove(bundle / "Contents/MacOS/link");
    EXPECT_THAT(State("Hall.app").changed, ElementsAre("Hall.app/Contents/MacOS/run", "Hall.app/Current"));
    EXPECT_THAT(State("Hall.app").missing, ElementsAre("Hall.app/Contents/MacOS/link"));
    EXPECT_THAT(Listing(ComponentStates(folders), folders), HasSubstr("Hall.app  2.4.1  DAMAGED"));

    ASSERT_TRUE(installed.Record({Installed::Look(bundle)})) << "installed anew";
    EXPECT_TRUE(State("Hall.app").whole());
    EXPECT_EQ(1U, ComponentStates(folders).size());
}

TEST_F(InstalledTest, LibrariesUnderTheirVersions) {
    place.Write("Kelvo Folder/libsound-1.0.3.0.dylib", "code");
    fs::create_symlink(place / "Kelvo Folder/libsound-1.0.3.0.dylib", place / "Kelvo Folder/libsound.dylib");
    const Installed installed(folders);
    ASSERT_TRUE(installed.Record({Installed::Look(place / "Kelvo Folder/libsound.dylib")}));
    EXPECT_EQ("1.0.3.0", State("libsound.dylib").version);
    EXPECT_TRUE(State("libsound.dylib").whole());
    fs::remove(place / "Kelvo Folder/libsound-1.0.3.0.dylib");
    EXPECT_THAT(State("libsound.dylib").missing, ElementsAre("libsound-1.0.3.0.dylib"));
    place.Write("Kelvo Folder/libsound-1.0.3.0.dylib", "code");

    const Removal removal = RemoveComponents(folders, "libsound.dylib");
    EXPECT_EQ(1U, removal.removed);
    EXPECT_THAT(removal.errors, IsEmpty());
    EXPECT_TRUE(fs::is_empty(folders.installed));
    EXPECT_THAT(ComponentStates(folders), IsEmpty());
}

TEST_F(InstalledTest, WhatIsNotOnRecordIsListed) {
    WriteBundle("Notes.bundle", "1");
    place.Write("Kelvo Folder/2.4/lummac.ini", "");
    place.Write("Kelvo Folder/lumext.bundle/lumext", "");
    place.Write("Kelvo Folder/.staging.bundle/x", "");
    ASSERT_EQ(1U, ComponentStates(folders).size());
    EXPECT_FALSE(State("Notes.bundle").recorded);
    EXPECT_EQ(0U, RemoveComponents(folders, "lumext.bundle").removed);
    EXPECT_EQ(1U, RemoveComponents(folders, "Notes.bundle").removed);
    EXPECT_TRUE(fs::exists(place / "Kelvo Folder/lumext.bundle/lumext"));
}

TEST_F(InstalledTest, RemovesNothingElse) {
    const std::string precious = place.Write("precious/file", "mine");
    const Installed installed(folders);
    const fs::path bundle = WriteBundle("Hall.app", "1");
    fs::create_symlink(place / "precious", bundle / "out");
    ASSERT_TRUE(installed.Record({Installed::Look(bundle)}));
    for (const char *name : {"..", ".", "", "../precious", "2.4/Hall.app"}) {
        EXPECT_EQ(0U, RemoveComponents(folders, name).removed) << name;
    }
    // A record that somebody has changed.
    place.Write("data/installed.json", R"({"components": [
        {"folder": ")" + (place / "x") + R"(", "name": "../precious", "files": []},
        {"folder": "precious", "name": "file", "files": []},
        {"folder": ")" + (place / "Kelvo Folder/2.4") +
                                           R"(", "name": "Hall.app", "files": [{"path": "../../precious/file"}]}]})");
    EXPECT_EQ(0U, RemoveComponents(folders, "../precious").removed);
    EXPECT_EQ(1U, RemoveComponents(folders, "Hall.app").removed);
    EXPECT_FALSE(fs::exists(bundle));
    EXPECT_TRUE(fs::exists(precious)) << "neither through a name nor through a link";

    WriteBundle("Hall.app", "1");
    EXPECT_EQ(1U, RemoveEverything(folders).removed);
    EXPECT_FALSE(fs::exists(folders.installed));
    EXPECT_TRUE(fs::exists(precious));
    for (const char *record : {"", "{", "[]", R"({"components": [1, "x", {"folder": 3}]})"}) {
        place.Write("data/installed.json", record);
        EXPECT_THAT(ComponentStates(folders), IsEmpty()) << record;
    }
}

TEST_F(InstalledTest, WhatAKilledStartHasMovedIsRecorded) {
    const Installed installed(folders);
    const fs::path kit = folders.installed / "2.4";
    const fs::path old = WriteBundle("Old.app", "1");
    ASSERT_TRUE(installed.Record({Installed::Look(old)}));
    place.Write("Kelvo Folder/2.4/Old.app/Contents/MacOS/run", "cod3"); // and somebody has changed it since
    const auto number = [](const fs::path &path) {
        struct stat status {};
        return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
    };
    const pid_t killed = fork();
    if (killed == 0) {
        InstallNotes notes(folders);
        notes.Open(kit / "New.app", number(WriteBundle("New.app", "2.4.1")));
        const fs::path library = place.Write("Kelvo Folder/2.4/libsound-1.0.3.0.dylib", "code");
        notes.Open(kit / "libsound.dylib", number(library));
        notes.Open(kit / "Never.app", number(place.Write("staging/Never.app", "")));
        notes.Open(old, number(place.Write("staging/Old.app", "")));
        const fs::path done = WriteBundle("Done.app", "1");
        notes.Open(done, number(done));
        notes.Recorded(done);
        kill(getpid(), SIGKILL);
    }
    waitpid(killed, nullptr, 0);
    {
        InstallNotes running(folders); // somebody else's, who records it when the time has come
        running.Open(kit / "Running.app", number(WriteBundle("Running.app", "1")));
        SettleInstallNotes(folders);
        EXPECT_TRUE(State("New.app").whole());
        EXPECT_EQ("1.0.3.0", State("libsound.dylib").version);
        EXPECT_TRUE(State("libsound.dylib").whole()) << "though its link is missing";
        EXPECT_THAT(State("Old.app").changed, ElementsAre("Old.app/Contents/MacOS/run")) << "it was not replaced";
        EXPECT_FALSE(State("Done.app").recorded);
        EXPECT_FALSE(State("Running.app").recorded);
        running.Recorded(kit / "Running.app");
    }
    EXPECT_EQ(5U, ComponentStates(folders).size());
    std::size_t left = 0;
    for (const auto &entry : fs::directory_iterator(folders.data)) {
        left += entry.path().filename().string().starts_with("installing.");
    }
    EXPECT_EQ(0U, left);
}

// The computer has lost its power before the disk had everything: the notes are of another boot.
TEST_F(InstalledTest, WhatMayBeHalfOnTheDiskIsFetchedAgain) {
    const fs::path kit = folders.installed / "2.4";
    const fs::path old = WriteBundle("Old.app", "1");
    const fs::path moved = WriteBundle("New.app", "2.4.1");
    const fs::path recorded = WriteBundle("Recorded.app", "1");
    const fs::path library = place.Write("Kelvo Folder/2.4/libsound-1.0.3.0.dylib", "code");
    fs::create_symlink(library, kit / "libsound.dylib");
    const auto note = [](char kind, const fs::path &destination, const fs::path &file) {
        struct stat status {};
        lstat(file.c_str(), &status);
        return kind + std::to_string(status.st_ino) + " " + destination.string() + '\0';
    };
    const std::string notes = note('+', moved, moved) + note('+', recorded, recorded) + note('*', recorded, recorded) +
                              note('+', old, place / "data") + note('+', kit / "libsound.dylib", library) +
                              note('+', kit / "Gone.app", kit) + note('-', kit / "Gone.app", kit);
    for (const bool sameBoot : {true, false}) {
        std::string boot = sameBoot ? ReadFile("/proc/sys/kernel/random/boot_id") : "another";
        boot.erase(boot.find_last_not_of('\n') + 1);
        place.Write("data/installing.abcdef", "=0 " + boot + '\0' + notes + "+12 cut o");
        SettleInstallNotes(folders);
        EXPECT_EQ(sameBoot, fs::exists(moved));
        EXPECT_EQ(sameBoot, fs::exists(recorded)) << "its contents may be missing all the same";
        EXPECT_EQ(sameBoot, fs::exists(library));
        EXPECT_EQ(sameBoot, fs::exists(fs::symlink_status(kit / "libsound.dylib")));
        EXPECT_TRUE(fs::exists(old)) << "it was not replaced";
        EXPECT_FALSE(fs::exists(place / "data/installing.abcdef"));
    }
}

} // namespace
