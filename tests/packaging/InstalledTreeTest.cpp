// The installed folder: whole, movable, and enough for somebody who embeds the extension.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "tests/container/ContainerSite.h"

namespace fs = std::filesystem;

namespace {

// Installs the build folder below `place`.
std::string Install(const TempDir &place, const std::string &name) {
    OutputOf(TEST_CMAKE " --install '" TEST_BUILD "' --prefix '" + (place / name) + "'");
    return place / name;
}

std::string LineWith(const std::string &text, const std::string &words) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.find(words) != std::string::npos) {
            return line;
        }
    }
    return "";
}

} // namespace

TEST(Installed, EmbedderBuildsAContainerThatStartsAComponent) {
    const TempDir place;
    const std::string installed = Install(place, "installed");
    const std::string build = place / "build";
    OutputOf(TEST_CMAKE " -S '" TEST_SOURCE "/tests/packaging/embedder' -B '" + build + "' -DEXAMPLE='" + installed +
             "/share/doc/lum/examples/minimal-container.c' -DCMAKE_PREFIX_PATH='" + installed +
             "' -DCMAKE_C_COMPILER='" TEST_C_COMPILER "' -DCMAKE_CXX_COMPILER='" TEST_CXX_COMPILER
             "' -DCMAKE_C_FLAGS='" TEST_FLAGS "' -DCMAKE_CXX_FLAGS='" TEST_FLAGS "' && " TEST_CMAKE " --build '" +
             build + "'");
    ASSERT_FALSE(testing::Test::HasFailure());
    OutputOf("'" + build + "/placeholder'");

    std::istringstream paths(ReadFile(build + "/paths"));
    std::string bundle;
    std::string code;
    std::string lumsite;
    std::getline(paths, bundle);
    std::getline(paths, code);
    std::getline(paths, lumsite);
    EXPECT_EQ(bundle, installed + "/" TEST_LIBDIR "/lum/lumext.bundle");
    EXPECT_EQ(code, bundle + "/lumext");
    OutputOf("'" + lumsite + "' init '" + (place / "keys") + "'");

    ContainerSite site;
    site.dir.Write("src/Part.bundle/Contents/data", "of the component");
    site.Publish("Part.bundle");
    site.Run(build + "/minimal_container", code, "Part.bundle",
             "LumDownloadOnly=TRUE szNextUrl=http://next LumProductVersion=2.4");
    EXPECT_TRUE(fs::exists(InstallFolder() + "/2.4/Part.bundle/Contents/data"));
}

TEST(Installed, ProgramsFindTheirPartsAfterAMove) {
    const TempDir place;
    fs::rename(Install(place, "installed"), place / "moved");
    const std::string findings = OutputOf("'" + (place / "moved") + "/bin/lumhost' doctor || true");
    for (const char *part : {"lumext.bundle", "lumext.bundle/Resources/Lum.theme"}) {
        const std::string line = LineWith(findings, part);
        EXPECT_EQ(line.rfind("ok ", 0), 0U) << findings;
        EXPECT_NE(line.find((place / "moved") + "/" TEST_LIBDIR "/lum/" + part), std::string::npos) << line;
    }
    EXPECT_EQ(LineWith(findings, "unpacking: ").rfind("ok ", 0), 0U) << findings;
}

TEST(Installed, BundleIsTheBuiltOne) {
    const TempDir place;
    const std::string installed = Install(place, "installed");
    OutputOf("diff -r '" TEST_BUILD "/lumext.bundle' '" + installed + "/" TEST_LIBDIR "/lum/lumext.bundle'");
}
