// The kept copy of the instruction file: when it counts, and what it survives.
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>

#include "tests/fuzzywindow/FakeDelegate.h"
#include "tests/support/TempDir.h"

#import <Foundation/Foundation.h>

namespace {

constexpr char kInstructions[] = "[Kelvo]\r\nCount=1\r\nFile1=confshell.bundle;u\r\n";
constexpr long kDay = 24 * 60 * 60;

struct Site {
    TempDir place;
    FakeDelegate delegate;
    ScopedManager manager{createLumFuzzyWindow(&delegate)};

    Site() {
        unsetenv("DISPLAY");
        delegate.version = "2.4_31_5_0";
        delegate.plistPath = place / "2.4/Meeting Hall.app/Contents/Info.plist";
        delegate.installPath = place / "support/2.4"; // not there yet
        Install("31.5.0");
    }
    void Install(const std::string &version) {
        place.WriteBundle("2.4/Meeting Hall.app", version);
    }
    void Save(const std::string &content = kInstructions) {
        manager->saveLumIniFile(place.Write("arrived.ini", content).c_str());
    }
    std::string Record() const {
        return manager->getSavedLumIniPath() + ".plist";
    }
    // As if the copy had been kept this long ago.
    void Age(long seconds) {
        NSString *path = [NSString stringWithUTF8String:Record().c_str()];
        NSMutableDictionary *record = [NSMutableDictionary dictionaryWithContentsOfFile:path];
        ASSERT_NE([record objectForKey:@"SavedAt"], nil);
        [record setObject:[NSNumber numberWithLong:std::time(nullptr) - seconds] forKey:@"SavedAt"];
        ASSERT_TRUE([record writeToFile:path atomically:YES]);
    }
    long SavedAt() const {
        NSString *path = [NSString stringWithUTF8String:Record().c_str()];
        return [[[NSDictionary dictionaryWithContentsOfFile:path] objectForKey:@"SavedAt"] longValue];
    }
};

} // namespace

TEST(InstructionCopy, CountsOnlyWhileAllOfItHolds) {
    const struct {
        const char *what;
        void (*change)(Site &site);
        bool current;
    } cases[] = {
        {"nothing", [](Site &) {}, true},
        {"almost a day old", [](Site &site) { site.Age(kDay - 60); }, true},
        {"a day old", [](Site &site) { site.Age(kDay); }, false},
        {"kept in the future", [](Site &site) { site.Age(-60); }, false},
        {"one byte changed",
         [](Site &site) {
             std::string content = kInstructions;
             content[content.find('u')] = 'v';
             site.place.Write("support/2.4/lummac.ini", content);
         },
         false},
        {"cut short", [](Site &site) { std::filesystem::resize_file(site.manager->getSavedLumIniPath(), 20); }, false},
        {"copy gone", [](Site &site) { std::filesystem::remove(site.manager->getSavedLumIniPath()); }, false},
        {"record gone", [](Site &site) { std::filesystem::remove(site.Record()); }, false},
        {"record damaged", [](Site &site) { site.place.Write("support/2.4/lummac.ini.plist", "<plist><dict>"); },
         false},
        {"record of another kind",
         [](Site &site) {
             site.place.Write("support/2.4/lummac.ini.plist", "{ SHA256 = (1); SavedAt = { a = b; }; }");
         },
         false},
        {"no folder to keep it in", [](Site &site) { site.delegate.installPath = ""; }, false},
        {"application newer", [](Site &site) { site.Install("31.5.1"); }, false},
        {"application gone", [](Site &site) { std::filesystem::remove(site.delegate.plistPath); }, false},
        {"application of another product",
         [](Site &site) {
             std::filesystem::rename(site.place / "2.4", site.place / "2.5");
             site.delegate.plistPath = site.place / "2.5/Meeting Hall.app/Contents/Info.plist";
         },
         false},
        {"application unknown", [](Site &site) { site.delegate.plistPath = ""; }, false},
        {"wanted version unknown", [](Site &site) { site.delegate.version = ""; }, false},
        {"wanted version written in full", [](Site &site) { site.delegate.version = "2.4_31_5_0_0"; }, false},
    };
    for (const auto &test : cases) {
        Site site;
        EXPECT_TRUE(site.manager->isNeedUpdateLumIni()) << "nothing kept yet";
        site.Save();
        test.change(site);
        EXPECT_EQ(!site.manager->isNeedUpdateLumIni(), test.current) << test.what;
    }
}

TEST(InstructionCopy, IsTheFileThatArrived) {
    Site site;
    site.Save();
    EXPECT_EQ(site.manager->getSavedLumIniPath(), site.place / "support/2.4/lummac.ini");
    EXPECT_EQ(ReadFile(site.manager->getSavedLumIniPath()), kInstructions);
    site.Save("[Other]\nCount=0\n");
    EXPECT_EQ(ReadFile(site.manager->getSavedLumIniPath()), "[Other]\nCount=0\n");
    EXPECT_FALSE(site.manager->isNeedUpdateLumIni());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(site.delegate.installPath), {}), 2);
}

TEST(InstructionCopy, GivenToItselfGrowsNoYounger) {
    Site site;
    site.Save();
    site.Age(3600);
    const long before = site.SavedAt();
    std::filesystem::create_symlink(site.delegate.installPath, site.place / "elsewhere");
    for (const std::string &path : {site.manager->getSavedLumIniPath(), site.place / "elsewhere/lummac.ini"}) {
        site.manager->saveLumIniFile(path.c_str());
        EXPECT_EQ(site.SavedAt(), before);
    }
    EXPECT_FALSE(site.manager->isNeedUpdateLumIni());
}

TEST(InstructionCopy, WhatCannotBeKeptChangesNothing) {
    Site site;
    site.Save();
    site.manager->saveLumIniFile(nullptr);
    site.manager->saveLumIniFile("");
    EXPECT_TRUE(site.delegate.warnings.empty());
    const std::string files[] = {
        site.place / "absent.ini",
        site.place.Write("empty.ini", ""),
        site.place.Write("page.html", "<!DOCTYPE html>\n<p>[Not found]</p>\na=b\n"),
        site.place.Write("bare.ini", "Count=1\nFile1=x;y\n"),
        site.place.Write("section.ini", "[Kelvo]\n"),
    };
    for (const std::string &file : files) {
        site.delegate.warnings.clear();
        site.manager->saveLumIniFile(file.c_str());
        EXPECT_EQ(site.delegate.warnings.size(), 1u) << file;
    }
    EXPECT_EQ(ReadFile(site.manager->getSavedLumIniPath()), kInstructions);
    EXPECT_FALSE(site.manager->isNeedUpdateLumIni());

    site.delegate.installPath = site.place / "arrived.ini"; // a file where the folder would be
    site.Save();
    EXPECT_TRUE(site.manager->isNeedUpdateLumIni());
    EXPECT_EQ(ReadFile(site.place / "arrived.ini"), kInstructions);
}

TEST(InstructionCopy, IsNotOfferedAgainAfterAStartThatFailed) {
    const struct {
        bool started, arrived, current;
    } cases[] = {{false, false, true}, {true, true, true}, {true, false, false}};
    for (const auto &test : cases) {
        Site site;
        site.Save();
        if (test.started) {
            site.manager->start();
        }
        if (test.arrived) {
            site.manager->noticeDownloadSuccess();
        }
        site.manager->stop();
        site.manager->stop();
        EXPECT_EQ(!site.manager->isNeedUpdateLumIni(), test.current) << test.started << test.arrived;
    }
}
