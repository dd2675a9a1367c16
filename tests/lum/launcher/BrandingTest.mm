#import <Foundation/Foundation.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "lum/launcher/Branding.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

class Branding : public testing::Test {
protected:
    Branding() {
        [NSUserDefaults setUserLanguages:[NSArray arrayWithObject:@"English"]];
        WriteInfo("Plain");
        for (const char *localization : {"English", "de", "zh_CN"}) {
            WriteName(localization, "Old");
        }
        m_folder.Write("Meeting Hall.app/Contents/Resources/icon.png", "");
    }

    void WriteInfo(const std::string &name) {
        m_folder.Write("Meeting Hall.app/Contents/Info.plist",
                       "{ CFBundleName = \"" + name + "\"; CFBundleVersion = \"1.2\"; }");
    }

    void WriteName(const std::string &localization, const std::string &name) {
        m_folder.Write(StringsFile(localization), "CFBundleName = \"" + name + "\";\n");
    }

    static std::string StringsFile(const std::string &localization) {
        return "Meeting Hall.app/Contents/Resources/" + localization + ".lproj/InfoPlist.strings";
    }

    // "name/display name/version"
    std::string Strings(const std::string &localization) {
        NSString *path = [NSString stringWithUTF8String:(m_folder / StringsFile(localization)).c_str()];
        NSDictionary *strings = [NSDictionary dictionaryWithContentsOfFile:path];
        std::string text;
        for (NSString *key : {@"CFBundleName", @"CFBundleDisplayName", @"CFBundleVersion"}) {
            NSString *value = [strings objectForKey:key];
            text += (text.empty() ? "" : "/") + std::string(value ? [value UTF8String] : "-");
        }
        return text;
    }

    TempDir m_folder;
    const std::string m_executable = m_folder / "Meeting Hall.app/Contents/MacOS/Meeting Hall";
};

TEST_F(Branding, FollowsTheProductTypeInEveryLocalization) {
    const std::pair<long, std::string> cases[] = {{1, "Kelvo Meetings/Kelvo Meetings/1.2"},
                                                  {3, "Meeting Hall/Kelvo Meeting Hall/1.2"},
                                                  {2, "Kelvo Meetings/Kelvo Meetings/1.2"},
                                                  {0, "Meeting Hall/Kelvo Meeting Hall/1.2"}};
    for (const auto &[productType, strings] : cases) {
        MatchBundleNameToProduct(m_executable, productType);
        for (const char *localization : {"English", "de", "zh_CN"}) {
            EXPECT_EQ(Strings(localization), strings) << productType << " " << localization;
        }
    }
}

TEST_F(Branding, LeavesANameThatFitsInTheUsersLanguage) {
    WriteName("English", "Kelvo Meetings");
    MatchBundleNameToProduct(m_executable, 1);
    EXPECT_EQ(Strings("de"), "Old/-/-");
    EXPECT_EQ(Strings("English"), "Kelvo Meetings/-/-");
}

TEST_F(Branding, AlsoOfThePathWithTheColon) {
    MatchBundleNameToProduct(m_folder / "Meeting Hall.app/Contents:MacOS/Meeting Hall", 1);
    EXPECT_EQ(Strings("de"), "Kelvo Meetings/Kelvo Meetings/1.2");
}

TEST_F(Branding, DoesNothingWithoutABundleOrARightToWrite) {
    for (const std::string &path : {std::string(), std::string("/Contents/MacOS/x"), m_folder / "Meeting Hall",
                                    m_folder / "Other.app/Contents/MacOS/Other"}) {
        MatchBundleNameToProduct(path, 1);
    }
    EXPECT_EQ(Strings("English"), "Old/-/-");
    // A folder where the file should be: not even root can write it.
    fs::remove(m_folder.path() / StringsFile("de"));
    fs::create_directory(m_folder.path() / StringsFile("de"));
    MatchBundleNameToProduct(m_executable, 1);
    EXPECT_EQ(Strings("zh_CN"), "Kelvo Meetings/Kelvo Meetings/1.2") << "the others are written";
}

} // namespace
