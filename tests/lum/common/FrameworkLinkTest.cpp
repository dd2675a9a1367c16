#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "lum/common/makeframeworklink.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

class FrameworkLink : public testing::Test {
protected:
    // The target of the link at `name`, "(file)", "(folder)" or "(none)".
    std::string At(const char *name) {
        const fs::path path = m_dir.path() / name;
        switch (fs::symlink_status(path).type()) {
        case fs::file_type::symlink:
            return fs::read_symlink(path);
        case fs::file_type::directory:
            return "(folder)";
        case fs::file_type::not_found:
            return "(none)";
        default:
            return "(file)";
        }
    }

    TempDir m_dir;
};

} // namespace

TEST_F(FrameworkLink, FrameworksBesideTheApplicationAreRepaired) {
    m_dir.Write("Hall.app/Contents/MacOS/Hall", "code");
    m_dir.Write("Foo.framework/Foo", "Versions/Current/Foo");
    m_dir.Write("Foo.framework/resources", "Versions/Current/Resources");
    m_dir.Write("Foo.framework/CURRENT", "x");
    m_dir.Write("Foo.framework/foo", "another case");
    m_dir.Write("Foo.framework/Headers", "Versions/Current/Headers");
    m_dir.Write("Foo.framework/Versions/Current", "A");
    m_dir.Write("Foo.framework/Versions/Foo", "A/Foo");
    m_dir.Write("Foo.framework/Versions/versions/Current", "B");
    m_dir.Write("Foo.framework/Versions/A/Foo", "code");
    m_dir.Write("Foo.framework/Versions/A/Resources/Current", "text");
    m_dir.Write("Bar.framework/Resources/Info.plist", "a folder as it is");
    m_dir.Write("Bar.framework/Versions/Current", "");
    m_dir.Write("Bar.framework/Foo", "not of this framework");
    m_dir.Write("Foo.frame/Foo", "Versions/Current/Foo");
    m_dir.Write("Real/Old.framework/Old", "Versions/Current/Old");
    fs::create_directory_symlink("Real/Old.framework", m_dir / "Old.framework");
    fs::create_symlink("Versions/Z/Bar", m_dir / "Bar.framework/Bar");
    EXPECT_EQ(mkfifo((m_dir / "Bar.framework/Current").c_str(), 0600), 0); // reading it would wait for ever

    makeFrameworkLinks((m_dir / "Hall.app/Contents/MacOS/Hall").c_str());

    const std::pair<const char *, const char *> expected[] = {
        {"Foo.framework/Foo", "Versions/Current/Foo"},
        {"Foo.framework/resources", "Versions/Current/Resources"},
        {"Foo.framework/CURRENT", "x"},
        {"Foo.framework/foo", "(file)"},
        {"Foo.framework/Headers", "(file)"},
        {"Foo.framework/Versions/Current", "A"},
        {"Foo.framework/Versions/Foo", "A/Foo"},
        {"Foo.framework/Versions/versions/Current", "B"},
        {"Foo.framework/Versions/A/Foo", "(file)"},
        {"Foo.framework/Versions/A/Resources/Current", "(file)"},
        {"Bar.framework/Resources", "(folder)"},
        {"Bar.framework/Versions/Current", "(file)"},
        {"Bar.framework/Foo", "(file)"},
        {"Bar.framework/Current", "(file)"},
        {"Bar.framework/Bar", "Versions/Z/Bar"},
        {"Foo.frame/Foo", "(file)"},
        {"Real/Old.framework/Old", "(file)"}, // reached through a link only
    };
    for (const auto &[name, type] : expected) {
        EXPECT_EQ(At(name), type) << name;
    }
}

TEST_F(FrameworkLink, PathsThatAreNoApplication) {
    const std::string link = m_dir.Write("Foo.framework/Foo", "Versions/Current/Foo");
    fs::current_path(m_dir.path());
    const std::string missing = m_dir / "missing";
    for (const char *path : {"", "X", "MacOS/X", "X.app/Contents/MacOS/X", "/X.app/Contents/MacOS/X"}) {
        makeFrameworkLinks(path);
    }
    makeFrameworkLinks(nullptr);
    makeFrameworkLinks((missing + "/X.app/Contents/MacOS/X").c_str());
    const std::string framework = m_dir / "Foo.framework";
    makeOneFrameworkLink(nullptr, "Foo.framework");
    makeOneFrameworkLink("", "Foo.framework");
    makeOneFrameworkLink(framework.c_str(), nullptr);
    makeOneFrameworkLink(framework.c_str(), "Foo");
    makeOneFrameworkLink(link.c_str(), "Foo.framework");
    EXPECT_EQ(At("Foo.framework/Foo"), "(file)");

    makeOneFrameworkLink(framework.c_str(), "Foo.framework.old"); // the name up to ".framework"
    EXPECT_EQ(At("Foo.framework/Foo"), "Versions/Current/Foo");
}

TEST_F(FrameworkLink, TargetIsTheFirstLineAsItStands) {
    struct {
        std::string content;
        int result;
        std::string after;
    } const cases[] = {
        {"Versions/A", 0, "Versions/A"},
        {" A \n", 0, " A \n"},
        {"A\r\nB", 0, "A\r\n"},
        {std::string(1022, 'a'), 0, std::string(1022, 'a')},
        {std::string(1023, 'a'), 0, std::string(1022, 'a')},
        {"", -1, "(file)"},
        {std::string(1, '\0'), -1, "(none)"}, // the link call refuses it, and the file is gone
    };
    for (const auto &c : cases) {
        const std::string path = m_dir.Write("file", c.content);
        EXPECT_EQ(convert_to_symlink(path.c_str()), c.result) << c.content;
        EXPECT_EQ(At("file"), c.after);
        fs::remove(path);
    }
    EXPECT_EQ(convert_to_symlink((m_dir / "missing").c_str()), -1);

    const TraceRecorder recorder;
    EXPECT_EQ(convert_to_symlink(nullptr), -1);
    EXPECT_THAT(recorder.Texts(3), ElementsAre(StartsWith("ASSERT name failed at file lum/common/makeframeworklink,")));
}
