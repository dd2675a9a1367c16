#include <gmock/gmock.h>

#include <filesystem>

#include "lum/common/lumutil.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

enum { kInfo = 1, kWarn = 2, kError = 3 };

class Version : public testing::Test {
protected:
    // The version of `name` in the folder; "false" when the function says so.
    std::string Of(std::string_view name, int size = 256) {
        m_recorder.Clear();
        std::string path = m_dir / name;
        std::string dest(256, '#');
        const bool found = GetFileVersionString(path.data(), dest.data(), size);
        EXPECT_TRUE(found || dest.front() == '\0') << dest;
        return found ? dest.c_str() : "false";
    }

    std::string OfPropertyList(std::string_view content) {
        m_dir.Write("plain/Contents/Info.plist", content);
        return Of("plain");
    }

    TempDir m_dir;
    TraceRecorder m_recorder;
};

std::string Xml(std::string_view body) {
    return std::string(R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)") + std::string(body) +
           "</plist>";
}

std::string XmlVersion(std::string_view version) {
    return Xml("<dict><key>CFBundleVersion</key><string>" + std::string(version) + "</string></dict>");
}

} // namespace

TEST_F(Version, OfAFile) {
    const std::string path = m_dir.Write("libfoo-2.1.3.dylib", "");
    m_dir.Write("other/text", "");
    EXPECT_EQ(Of("libfoo-2.1.3.dylib"), "2,1,3");
    EXPECT_THAT(m_recorder.Texts(kInfo), ElementsAre("GetFileVersionString," + path + " version is 2,1,3"));
    EXPECT_EQ(Of("libfoo-2.1.3.dylib", 4), "2,1");
    EXPECT_EQ(Of("libfoo-2.1.3.dylib", 1), "false");
    EXPECT_EQ(Of("other/text"), "false");
    EXPECT_THAT(m_recorder.traces(), IsEmpty());

    EXPECT_EQ(Of("missing"), "false");
    EXPECT_THAT(m_recorder.Texts(kWarn),
                ElementsAre("GetFileVersionString, file(" + (m_dir / "missing") + ") not exist"));
    fs::create_symlink("missing", m_dir / "dangling-1"); // there, and not a folder: the library beside it counts
    EXPECT_EQ(Of("dangling-1"), "false");
    EXPECT_THAT(m_recorder.Texts(kWarn), IsEmpty());
}

TEST_F(Version, OfBundles) {
    struct {
        const char *folder, *executable, *propertyList;
    } const cases[] = {
        {"X.bundle", "Contents/MacOS/X", "Contents/Info.plist"},
        {"Meeting Hall.app", "Contents/MacOS/Meeting Hall", "Contents/Info.plist"},
        {"a.b.app", "Contents/MacOS/a.b", "Contents/Info.plist"},
        {"Foo.framework", "Versions/A/Foo", "Versions/A/Resources/Info.plist"},
        {"Foo.framework/In.app", "Contents/MacOS/In", "Versions/A/Resources/Info.plist"}, // the whole path decides
    };
    for (const auto &c : cases) {
        const std::string path = m_dir / c.folder;
        m_dir.Write(std::string(c.folder) + "/" + c.propertyList, XmlVersion("1.2.3"));
        EXPECT_EQ(Of(c.folder), "false");
        EXPECT_THAT(m_recorder.Texts(kWarn),
                    ElementsAre("GetFileVersionString for path = " + path + ", execfile not exist"));

        m_dir.Write(std::string(c.folder) + "/" + c.executable, "");
        EXPECT_EQ(Of(c.folder), "1,2,3");
    }
}

TEST_F(Version, OfPropertyLists) {
    fs::create_directory(m_dir / "plain");
    EXPECT_EQ(Of("plain"), "");
    EXPECT_EQ(m_recorder.Texts(kInfo).back(), "GetFileVersionString(...) createDictionary failed");

    const std::string longest(255, '1');
    const std::pair<std::string, std::string> good[] = {
        {XmlVersion("1.2.3"), "1,2,3"},       {XmlVersion("1,2 beta"), "1,2 beta"},      {XmlVersion(longest), longest},
        {XmlVersion("\u00e9.1"), "\u00e9,1"}, {"{ CFBundleVersion = \"4.5\"; }", "4,5"},
    };
    for (const auto &[content, version] : good) {
        EXPECT_EQ(OfPropertyList(content), version);
        EXPECT_EQ(m_recorder.Texts(kInfo).back(), "GetFileVersionString(...) version = " + version);
    }
    for (const std::string &content :
         {Xml("<dict/>"), XmlVersion(longest + "1"), Xml("<dict><key>CFBundleVersion</key><array/></dict>"),
          Xml("<dict><key>CFBundleShortVersionString</key><string>1</string></dict>")}) {
        EXPECT_EQ(OfPropertyList(content), "") << content;
        EXPECT_EQ(m_recorder.Texts(kInfo).back(), "GetFileVersionString(...) get CFBundleVersion failed") << content;
    }
    for (const std::string &content : {std::string(), std::string("junk <"), std::string("{ CFBundleVersion = "),
                                       std::string("bplist00\xff\xff\xff"), Xml("<array/>"), Xml("<string>1</string>"),
                                       XmlVersion("1").substr(0, 70), std::string(3000, '\0')}) {
        EXPECT_EQ(OfPropertyList(content), "") << content;
        EXPECT_EQ(m_recorder.Texts(kInfo).back(), "GetFileVersionString(...) createDictionary failed") << content;
    }
}

TEST_F(Version, LongVersionFitsInMacRoman) {
    std::string umlauts;
    for (int i = 0; i < 200; ++i) {
        umlauts += "\u00e9"; // two bytes in UTF-8, one in the other
    }
    m_recorder.Clear();
    EXPECT_EQ(OfPropertyList(XmlVersion(umlauts)), std::string(200, '\x8e'));
}

TEST_F(Version, PathThatIsNotUtf8) {
    fs::create_directory(m_dir / "caf\xe9");
    EXPECT_EQ(Of("caf\xe9"), "");
}

TEST_F(Version, NullArguments) {
    char path[] = "/";
    char dest[] = "untouched";
    EXPECT_FALSE(GetFileVersionString(nullptr, dest, sizeof dest));
    EXPECT_FALSE(GetFileVersionString(path, nullptr, 0));
    EXPECT_STREQ(dest, "untouched");
    const auto line = StartsWith("ASSERT 0 failed at file lum/common/lumutil, line ");
    EXPECT_THAT(m_recorder.Texts(kError), ElementsAre(line, line));
}
