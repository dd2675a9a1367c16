// The extension in a container that knows nothing of it but the interface header.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "tests/support/TempDir.h"
#include "tests/support/TestSite.h"

namespace {

// A site in a folder, with one package.
struct Site {
    TempDir dir;
    SiteIdentity identity = TestSite::MakeIdentity(dir, "www.kelvo.example");
    std::string lines;
    int count = 0;

    void Publish(const std::string &name, const std::string &update = "version") {
        RunCommand("tar -C '" + (dir / "src") + "' -czf '" + (dir / (name + ".tgz")) + "' '" + name + "'");
        const TestSite::Item item{.name = name, .url = name + ".tgz", .update = update};
        lines += "File" + std::to_string(++count) + "=" + TestSite::ItemLine(identity, item, dir / (name + ".tgz")) + "\n";
        dir.Write("lummac.ini", "[Kelvo]\nCount=" + std::to_string(count) + "\n" + lines);
    }
    // Runs the container; returns what it printed and leaves its exit status in `status`.
    std::string Run(const std::string &component, const std::string &more, int &status) {
        const std::string log = dir / "output";
        // No window server: nothing is to be shown.
        const std::string command = "unset DISPLAY; '" TEST_CONTAINER "' '" TEST_EXTENSION "' 'LumUrlRoot=file://" +
                                    dir.path().string() + "' 'LumComponentName=" + component + "' 'lumcertification=" +
                                    identity.certification + "' " + more + " >'" + log + "' 2>&1";
        status = WEXITSTATUS(std::system(command.c_str()));
        return ReadFile(log);
    }
};

std::string InstallFolder() {
    return std::string(std::getenv("HOME")) + "/GNUstep/Library/ApplicationSupport/Kelvo Folder";
}

} // namespace

TEST(Container, DownloadsChecksInstallsAndSendsThePageOn) {
    Site site;
    site.dir.Write("src/Part.bundle/Contents/data", "of the component");
    site.Publish("Part.bundle");
    int status = -1;
    const std::string output = site.Run("Part.bundle", "LumDownloadOnly=TRUE szNextUrl=http://next LumProductVersion=2.4", status);
    EXPECT_EQ(status, 0) << output;
    EXPECT_NE(output.find("open http://next?ExtensionChanged=0 in _self"), std::string::npos) << output;
    EXPECT_EQ(ReadFile(InstallFolder() + "/2.4/Part.bundle/Contents/data"), "of the component");
}

TEST(Container, LaunchesTheApplicationAndSendsThePageOn) {
    Site site;
    site.dir.Write("src/confshell.bundle/Contents/data", "x");
    const std::string script = "#!/bin/sh\n"
                               "echo \"$HOSTTYPE ${CONTAINER_SECRET:-none}\" >'" + (site.dir / "started") + "'\n"
                               "sleep 6\n";
    const std::string program = site.dir.Write("src/Meeting Hall.app/Contents/MacOS/Meeting Hall", script);
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    site.Publish("Meeting Hall.app", "existence");
    site.Publish("confshell.bundle", "existence");
    int status = -1;
    setenv("CONTAINER_SECRET", "leaked", 1);
    const std::string output = site.Run("confshell.bundle", "szNextUrl=http://next LoggingURL=http://log MeetingID=1 SessionID=2", status);
    EXPECT_EQ(status, 0) << output;
    EXPECT_NE(output.find("open http://next in _self"), std::string::npos) << output;
    for (const char *code : {"1001", "1002", "1003", "990", "1106"}) {
        EXPECT_NE(output.find(std::string("&ErrorCode=") + code), std::string::npos) << code;
    }
    // Sees the variables that it is given, and no other of the container's.
    EXPECT_EQ(ReadFile(site.dir / "started"), "x86_64 none\n");
}

TEST(Container, FailuresReachTheUser) {
    const struct {
        const char *what;
        const char *damage; // a shell command in the site's folder
        const char *number;
    } cases[] = {
        {"package changed", "printf x >>Part.bundle.tgz", "[7]"},
        {"package missing", "rm Part.bundle.tgz", "[6]"},
        {"instruction file missing", "rm lummac.ini", "[5]"},
        {"another's signature", "sed -i 's/;sha256;.*/;sha256;AAAA/' lummac.ini", "[23]"},
    };
    for (const auto &test : cases) {
        Site site;
        site.dir.Write("src/Part.bundle/Contents/data", "of the component");
        site.Publish("Part.bundle");
        RunCommand("cd '" + site.dir.path().string() + "' && " + test.damage);
        int status = -1;
        const std::string output = site.Run("Part.bundle", "LumDownloadOnly=TRUE szNextUrl=http://next", status);
        EXPECT_EQ(status, 1) << test.what << output;
        EXPECT_NE(output.find(std::string("Error ") + test.number), std::string::npos) << test.what << output;
        EXPECT_EQ(output.find("open "), std::string::npos) << output;
        EXPECT_FALSE(std::filesystem::exists(InstallFolder() + "/Part.bundle")) << test.what;
    }
}
