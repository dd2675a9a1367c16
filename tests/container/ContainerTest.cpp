// The extension in a container that knows nothing of it but the interface header.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "tests/container/ContainerSite.h"

namespace {

struct Site : ContainerSite {
    std::string Run(const std::string &component, const std::string &more, int status = 0) {
        return ContainerSite::Run(TEST_CONTAINER, TEST_EXTENSION, component, more, status);
    }
};

} // namespace

TEST(Container, DownloadsChecksInstallsAndSendsThePageOn) {
    Site site;
    site.dir.Write("src/Part.bundle/Contents/data", "of the component");
    site.Publish("Part.bundle");
    const std::string output =
        site.Run("Part.bundle", "LumDownloadOnly=TRUE szNextUrl=http://next LumProductVersion=2.4");
    EXPECT_NE(output.find("open http://next?ExtensionChanged=0 in _self"), std::string::npos) << output;
    EXPECT_EQ(ReadFile(InstallFolder() + "/2.4/Part.bundle/Contents/data"), "of the component");
}

TEST(Container, LaunchesTheApplicationAndSendsThePageOn) {
    Site site;
    site.dir.Write("src/confshell.bundle/Contents/data", "x");
    const std::string script = "#!/bin/sh\n"
                               "echo \"$HOSTTYPE ${CONTAINER_SECRET:-none}\" >'" +
                               (site.dir / "started") +
                               "'\n"
                               "sleep 6\n";
    const std::string program = site.dir.Write("src/Meeting Hall.app/Contents/MacOS/Meeting Hall", script);
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    site.Publish("Meeting Hall.app", "existence");
    site.Publish("confshell.bundle", "existence");
    setenv("CONTAINER_SECRET", "leaked", 1);
    const std::string output =
        site.Run("confshell.bundle", "szNextUrl=http://next LoggingURL=http://log MeetingID=1 SessionID=2");
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
        OutputOf("cd '" + site.dir.path().string() + "' && " + test.damage);
        const std::string output = site.Run("Part.bundle", "LumDownloadOnly=TRUE szNextUrl=http://next", 1);
        EXPECT_NE(output.find(std::string("Error ") + test.number), std::string::npos) << test.what << output;
        EXPECT_EQ(output.find("open "), std::string::npos) << output;
        EXPECT_FALSE(std::filesystem::exists(InstallFolder() + "/Part.bundle")) << test.what;
    }
}
