// The program where there is a window server: what it asks and shows, and that its windows stay alive.
#include <archive.h>
#include <archive_entry.h>
#include <gmock/gmock.h>
#include <signal.h>

#include <filesystem>

#include "tests/host/LumhostRun.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Desktop.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

class LumhostWindowsTest : public LumhostTest {
protected:
    LumhostWindowsTest() : desktop(Desktop::Get()) {}

    // In the window of this title, once it has the keyboard.
    void Press(const std::string &title, const std::vector<std::string> &keys) const {
        EXPECT_TRUE(WaitUntil([&] { return desktop.HasKeyboard(title); }));
        for (const std::string &key : keys) {
            desktop.Press(key);
        }
    }

    Desktop &desktop;
};

TEST_F(LumhostWindowsTest, AsksBeforeASiteMayAct) {
    const std::string title = "Start a meeting?";
    const auto asked = [&](const std::vector<std::string> &keys) {
        Lumhost run(Arguments(Page("open _self /next")));
        Press(title, keys);
        return run.Wait();
    };
    EXPECT_EQ(0, Lumhost({"forbid", server.Url("")}).Wait());
    EXPECT_EQ(4, asked({"Return"})) << "what Return does, does no harm";
    EXPECT_EQ(4, asked({"Escape"}));
    EXPECT_EQ(0, asked({"Tab", "Tab", "space"})) << "once";
    EXPECT_EQ(0, asked({"Tab", "space"})) << "still asked; now for always";
    EXPECT_EQ(0, Lumhost(Arguments(Page("open _self /next"))).Wait());
    EXPECT_THAT(Lumhost({"allowed"}).Out(), HasSubstr(server.Url("")));

    EXPECT_EQ(0, Lumhost({"forbid", server.Url("")}).Wait());
    Lumhost ended(Arguments(Page("open _self /next")));
    EXPECT_TRUE(desktop.WaitForWindow(title));
    ended.Signal(SIGTERM);
    EXPECT_EQ(128 + SIGTERM, ended.Wait());
    EXPECT_EQ(8, Lumhost(Arguments(Page("open _self /next"), {"--timeout", "1"})).Wait()) << "nobody answers";
}

TEST_F(LumhostWindowsTest, MessagesAreAlertsToo) {
    const std::string title = "<param name=LumMessageTitle value='Hall'>";
    Lumhost run(Arguments(Page("message 5 Setup failed. Error [5]", title)));
    Press("Hall", {"Return"});
    EXPECT_EQ(1, run.Wait());
    EXPECT_THAT(run.Err(), HasSubstr("lumhost: message 5: Setup failed. Error [5]\n"));

    Lumhost ended(Arguments(Page("message 5 Setup failed. Error [5]", title)));
    EXPECT_TRUE(desktop.WaitForWindow("Hall"));
    ended.Signal(SIGTERM);
    EXPECT_EQ(128 + SIGTERM, ended.Wait());
    EXPECT_THAT(Record(), ElementsAre("exit"));
    Lumhost late(Arguments(Page("message 5 Setup failed. Error [5]", title), {"--timeout", "1"}));
    EXPECT_EQ(8, late.Wait());
}

// A component of so many files that its unpacking takes a while.
std::string LargePackage(const TempDir &place) {
    const std::string file = place / "large.tar.gz";
    archive *packed = archive_write_new();
    archive_write_add_filter_gzip(packed);
    archive_write_set_format_ustar(packed);
    EXPECT_EQ(ARCHIVE_OK, archive_write_open_filename(packed, file.c_str()));
    archive_entry *entry = archive_entry_new();
    archive_entry_set_filetype(entry, AE_IFREG);
    archive_entry_set_perm(entry, 0644);
    archive_entry_set_size(entry, 4);
    for (int i = 0; i < 150'000; ++i) {
        archive_entry_set_pathname(entry, ("Hall.app/" + std::to_string(i)).c_str());
        EXPECT_EQ(ARCHIVE_OK, archive_write_header(packed, entry));
        EXPECT_EQ(4, archive_write_data(packed, "code", 4));
    }
    archive_entry_free(entry);
    archive_write_free(packed);
    return ReadFile(file);
}

TEST_F(LumhostWindowsTest, StopWhileAPackageIsUnpacked) {
    server.On("/kit/large", {{.body = LargePackage(place)}});
    server.On("/kit/slow", {{.body = std::string(1'000'000, 'x'), .bytesPerSecond = 10'000}});
    std::filesystem::create_directory(place / "Kelvo Folder");
    Lumhost run(
        Arguments(Page("window\nstart " + server.Url("/kit/slow") + "\nplace " + (place / "Kelvo Folder/Hall.app") +
                       "\nget " + server.Url("/kit/large") + "\nmessage 5 never shown")));
    EXPECT_TRUE(desktop.WaitForWindow("Fake"));
    EXPECT_TRUE(WaitUntil([&] { return run.OutSoFar().find("Installing Hall.app") != std::string::npos; }));
    Press("Fake", {"Return"});
    EXPECT_EQ(7, run.Wait());
    const std::vector<std::string> record = Record();
    ASSERT_EQ(3U, record.size());
    EXPECT_THAT(record[0], testing::StartsWith("done "));
    EXPECT_THAT(std::vector(record.begin() + 1, record.end()), ElementsAre("install 20100", "exit"));
    EXPECT_THAT(run.Out() + run.Err(), AllOf(Not(HasSubstr("never shown")), Not(HasSubstr("not installed"))));
    EXPECT_TRUE(std::filesystem::is_empty(place / "Kelvo Folder")) << "nothing half stands there";
}

TEST_F(LumhostWindowsTest, ATermSignalWhileAPackageIsUnpacked) {
    server.On("/kit/large", {{.body = LargePackage(place)}});
    std::filesystem::create_directory(place / "Kelvo Folder");
    for (const bool windows : {true, false}) {
        if (!windows) {
            unsetenv("DISPLAY");
        }
        Lumhost run(Arguments(Page(std::string(windows ? "window\n" : "") + "place " +
                                   (place / "Kelvo Folder/Hall.app") + "\nget " + server.Url("/kit/large"))));
        EXPECT_TRUE(WaitUntil([&] { return run.OutSoFar().find("Installing Hall.app") != std::string::npos; }));
        run.Signal(SIGTERM);
        EXPECT_EQ(128 + SIGTERM, run.Wait());
        EXPECT_EQ("exit", Record().back());
        EXPECT_TRUE(std::filesystem::is_empty(place / "Kelvo Folder"));
    }
}

TEST_F(LumhostWindowsTest, TheWindowServerGoesAway) {
    // Killing its connection is what a server that ends does to a client.
    server.On("/kit/slow", {{.body = std::string(1'000'000, 'x'), .bytesPerSecond = 1000}});
    Lumhost run(Arguments(Page("window\nstart " + server.Url("/kit/slow")), {"--json"}));
    EXPECT_TRUE(desktop.WaitForWindow("Fake"));
    OutputOf("xkill -id $(xdotool search --name '^Fake$')");
    EXPECT_EQ(9, run.Wait());
    EXPECT_EQ(9, run.Events().back()["status"].asInt());
}

} // namespace
