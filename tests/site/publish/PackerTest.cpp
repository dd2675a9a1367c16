#include "site/publish/Packer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>

#include "lum/common/makeframeworklink.h"
#include "delivery/package/PackageContent.h"
#include "tests/site/DemoSite.h"

namespace fs = std::filesystem;
using namespace lumsite;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// Kelvo.framework with the usual links, a file that may be executed, an empty folder and a name that is not ASCII.
void WriteFramework(const TempDir &place, const std::string &path) {
    place.Write(path + "/Versions/A/Kelvo", "code");
    place.Write(path + "/Versions/A/Resources/Größe.txt", "text");
    fs::permissions(place / (path + "/Versions/A/Kelvo"), fs::perms::owner_all);
    fs::create_directories(place / (path + "/Versions/A/Empty"));
    fs::create_symlink("A", place / (path + "/Versions/Current"));
    fs::create_symlink("Versions/Current/Kelvo", place / (path + "/Kelvo"));
    fs::create_symlink("Versions/Current/Resources", place / (path + "/Resources"));
}

std::string PackedBytes(const fs::path &component, const TempDir &place, const PackOptions &options) {
    const fs::path package = place / "package";
    EXPECT_EQ(ErrorOf(Pack(component, package, options)), "");
    return ReadFile(package);
}

std::string Refusal(const fs::path &component, const TempDir &place, const PackOptions &options = {}) {
    return ErrorOf(Pack(component, place / "package", options));
}

} // namespace

TEST(Packer, SameComponentGivesSameBytes) {
    const TempDir place;
    WriteFramework(place, "one/Kelvo.framework");
    setenv("TZ", "Pacific/Auckland", 1);
    const mode_t before = umask(077);
    WriteFramework(place, "two/Kelvo.framework");
    umask(before);
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(place / "two")) {
        const timeval times[2] = {{1000000000, 0}, {1000000000, 0}};
        lutimes(entry.path().c_str(), times);
    }
    for (const std::string &format : PackageFormats()) {
        PackOptions options;
        options.format = format;
        setenv("TZ", "Pacific/Auckland", 1);
        const std::string one = PackedBytes(place / "one/Kelvo.framework", place, options);
        setenv("TZ", "America/Lima", 1);
        EXPECT_EQ(one, PackedBytes(place / "two/Kelvo.framework/", place, options)) << format;
        options.linksAsFiles = true;
        EXPECT_NE(one, PackedBytes(place / "one/Kelvo.framework", place, options)) << format;
    }
    fs::permissions(place / "two/Kelvo.framework/Versions/A/Resources/Größe.txt", fs::perms::owner_all);
    EXPECT_NE(PackedBytes(place / "one/Kelvo.framework", place, {}),
              PackedBytes(place / "two/Kelvo.framework", place, {}));
}

TEST(Packer, OneTopLevelEntryThatUnpacksToTheComponent) {
    const TempDir place;
    WriteFramework(place, "Kelvo.framework");
    for (const std::string &format : PackageFormats()) {
        PackOptions options;
        options.format = format;
        const fs::path package = place / ("Kelvo." + format);
        const PackResult result = Pack(place / "Kelvo.framework", package, options).value();
        const auto content = delivery::ReadPackageContent(package, place.path());
        ASSERT_TRUE(content) << content.error().text;
        EXPECT_EQ(content->component, "Kelvo.framework");
        EXPECT_EQ(content->unpackedSize, 8u);
        EXPECT_EQ(result.unpackedSize, 8u);
    }
    // An unpacker of another make agrees.
    OutputOf("mkdir " + (place / "out") + " && tar -C " + (place / "out") + " -xzf " + (place / "Kelvo.tar.gz"));
    EXPECT_EQ(Tree(place / "out/Kelvo.framework/Versions"), Tree(place / "Kelvo.framework/Versions"));
    EXPECT_EQ(fs::read_symlink(place / "out/Kelvo.framework/Kelvo"), "Versions/Current/Kelvo");
    EXPECT_TRUE(fs::is_empty(place / "out/Kelvo.framework/Versions/A/Empty"));
}

TEST(Packer, LinksWrittenAsFilesAreMendedByTheLauncher) {
    const TempDir place;
    WriteFramework(place, "Kelvo.framework");
    PackOptions options;
    options.linksAsFiles = true;
    EXPECT_TRUE(Pack(place / "Kelvo.framework", place / "package", options)->warnings.empty());
    OutputOf("mkdir " + (place / "out") + " && tar -C " + (place / "out") + " -xzf " + (place / "package"));
    const fs::path out = place / "out/Kelvo.framework";
    EXPECT_EQ(ReadFile(out / "Versions/Current"), "A");
    makeOneFrameworkLink(out.c_str(), "Kelvo.framework");
    EXPECT_EQ(ReadFile(out / "Kelvo"), "code");
    EXPECT_EQ(ReadFile(out / "Resources/Größe.txt"), "text");

    fs::create_symlink("Kelvo", place / "Kelvo.framework/Alias");
    EXPECT_THAT(Pack(place / "Kelvo.framework", place / "package", options)->warnings,
                ElementsAre(HasSubstr("Kelvo.framework/Alias")));
}

TEST(Packer, RefusesWhatCannotBeInstalled) {
    const TempDir place;
    WriteBundle(place, "a.bundle", "1.0.0.0");
    EXPECT_THAT(Refusal(place / "none.bundle", place), HasSubstr("none.bundle: No such file"));
    for (const char *target : {"/etc/passwd", "../../b", "../a.bundle/../b"}) {
        fs::create_symlink(target, place / "a.bundle/link");
        EXPECT_THAT(Refusal(place / "a.bundle", place), HasSubstr("outside the component")) << target;
        fs::remove(place / "a.bundle/link");
    }
    fs::create_symlink("a.bundle", place / "alias.bundle");
    EXPECT_THAT(Refusal(place / "alias.bundle", place), HasSubstr("is a link"));
    ASSERT_EQ(mkfifo((place / "a.bundle/pipe").c_str(), 0600), 0);
    EXPECT_THAT(Refusal(place / "a.bundle", place), HasSubstr("is not a file, folder or link"));
    fs::remove(place / "a.bundle/pipe");
    for (const char *name : {"\xff",
                             "a\xED\xA0\x80"
                             "b",
                             "\xC0\xAE"}) { // a surrogate, and an overlong "."
        const std::string file = place.Write(std::string("a.bundle/") + name, "x");
        EXPECT_THAT(Refusal(place / "a.bundle", place), HasSubstr("the name is not UTF-8; rename it"));
        fs::remove(file);
    }
}
