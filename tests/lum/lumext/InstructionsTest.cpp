// The instruction file: its address, its download, its reading.
#include <gtest/gtest.h>

#include "tests/support/LumFixture.h"
#include "tests/support/TraceRecorder.h"

namespace {

struct Fixture : LumFixture {
    Fixture() {
        host.parameters["LumComponentName"] = "main";
        host.parameters["LumUrlRoot"] = "http://s";
    }
};

} // namespace

TEST(Instructions, UrlRootAndItsFaults) {
    const std::string longest = "http://" + std::string(942, 'a'); // 949
    const struct {
        const char *root; // null: absent
        std::string url;  // empty: refused with message 2
    } cases[] = {
        {"http://s", "http://s/lummac.ini?random=0"},
        {"http://s/", "http://s/lummac.ini?random=0"},
        {"http://s/p?q=1", "http://s/p?q=1/lummac.ini?random=0"},
        {"", "lummac.ini?random=0"},
        {nullptr, ""},
        {longest.c_str(), longest + "/lummac.ini?random=0"},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.parameters.erase("LumUrlRoot");
        if (test.root) {
            fixture.host.parameters["LumUrlRoot"] = test.root;
        }
        EXPECT_TRUE(fixture.extension.AsyncDownloadIniFileUrl(nullptr));
        EXPECT_EQ(fixture.host.requests.empty(), test.url.empty());
        if (test.url.empty()) {
            EXPECT_EQ(fixture.host.messages.size(), 1u);
            EXPECT_TRUE(fixture.extension.m_bStopped);
        } else {
            EXPECT_EQ(fixture.host.requests.at(0).url, test.url);
        }
    }
    Fixture fixture;
    fixture.host.parameters["LumUrlRoot"] = longest + "a"; // 950
    fixture.extension.AsyncDownloadIniFileUrl(nullptr);
    EXPECT_TRUE(fixture.host.requests.empty());
    ASSERT_EQ(fixture.host.messages.size(), 1u);
    EXPECT_NE(fixture.host.messages[0].find("Error [2]"), std::string::npos);
    std::string dummy = fixture.dir.Write("lummac.ini", "[Kelvo]\nCount=0\n");
    fixture.extension.InitInstallationMgr(dummy.c_str());
    EXPECT_EQ(fixture.host.messages.size(), 2u); // refused there too
    EXPECT_FALSE(fixture.extension.m_bInstallationMgrInited);
}

TEST(Instructions, AnArgumentOnlySaysThatAUrlIsWanted) {
    const struct {
        const char *argument;
        const char *url; // null: nothing is asked for
    } cases[] = {
        {"http://other/x?", "lummac.ini?random=0"}, {"see https://x", "lummac.ini?random=0"}, {"/local/file", nullptr}};
    for (const auto &test : cases) {
        Fixture fixture;
        EXPECT_TRUE(fixture.extension.AsyncDownloadIniFileUrl(test.argument));
        ASSERT_EQ(fixture.host.requests.size(), test.url ? 1u : 0u);
        if (test.url) {
            EXPECT_EQ(fixture.host.requests[0].url, test.url);
        }
    }
}

TEST(Instructions, SavedName) {
    const std::string tooLong(1024, 'n');
    const struct {
        const char *parameter;
        bool given;
        std::string name;
    } cases[] = {{nullptr, false, "lum.php"},         {"my.php", true, "my.php"},
                 {"my.php?a=1", true, "my.php"},      {"?", true, ""},
                 {tooLong.c_str(), false, "lum.php"}, {tooLong.c_str() + 1, true, tooLong.substr(1)}};
    for (const auto &test : cases) {
        Fixture fixture;
        if (test.parameter) {
            fixture.host.parameters["LumIniFileName"] = test.parameter;
        }
        char name[2000];
        EXPECT_EQ(fixture.extension.GetSavedIniFileName(name, sizeof name), test.given);
        EXPECT_EQ(name, test.name);
        char small[4];
        fixture.extension.GetSavedIniFileName(small, sizeof small);
        EXPECT_EQ(small, test.name.substr(0, 3));
    }
}

TEST(Instructions, ReadingTheSection) {
    const std::string a = "a" + kItemTail, b = "b" + kItemTail, c = "c" + kItemTail;
    const struct {
        std::string text;
        const char *section; // null: default
        const char *names;
        const char *trace; // null: none of the two complaints
    } cases[] = {
        {"[Kelvo]\nCount=2\nFile1=" + a + "\nFile2=" + b + "\n", nullptr, "a/b/", nullptr},
        {"[Kelvo]\nCount=1\nFile1=" + a + "\nFile2=" + b + "\n", nullptr, "a/", nullptr},
        {"[Kelvo]\nFile2=" + b + "\nFile1=" + a + "\nCount=2\n", nullptr, "a/b/", nullptr},
        {"[Other]\nCount=1\nFile1=" + a + "\n[Kelvo]\nCount=1\nFile1=" + b + "\n", "Other", "a/", nullptr},
        {"[Kelvo]\nCount=3\nFile1=" + a + "\nFile2=\nFile3=" + c + "\n", nullptr, "a/",
         "Invalid INI file format i =2,cCount = 3"},
        {"[Kelvo]\nCount=3\nFile1=" + a + "\nFile2=x\nFile3=" + c + "\n", nullptr, "a/",
         "Invalid INI file format i =2,cCount = 3"},
        {"[Kelvo]\nCount=3\nFile1=" + a + "\nFile2=" + b + "\nFile3=\n", nullptr, "a/b/", nullptr},
        {"[Kelvo]\nCount=2147483647\nFile1=" + a + "\n", nullptr, "a/",
         "Invalid INI file format i =2,cCount = 2147483647"},
        {"[Kelvo]\nCount=0\nFile1=" + a + "\n", nullptr, "", "Invalid INI file format(0 files in Ini)"},
        {"[Kelvo]\nCount=-3\nFile1=" + a + "\n", nullptr, "", "Invalid INI file format(0 files in Ini)"},
        {"[Kelvo]\nFile1=" + a + "\n", nullptr, "", "Invalid INI file format(0 files in Ini)"},
        {"", nullptr, "", "Invalid INI file format(0 files in Ini)"},
        {std::string("\0\x01\xff[\n]Kelvo\0", 11), nullptr, "", "Invalid INI file format(0 files in Ini)"},
        {"<html><body>not found</body></html>", nullptr, "", "Invalid INI file format(0 files in Ini)"},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        if (test.section) {
            fixture.host.parameters["LumActiveIniSection"] = test.section;
        }
        TraceRecorder traces;
        fixture.extension.ParseIniFile(fixture.dir.Write("lummac.ini", test.text).c_str(), false);
        EXPECT_EQ(fixture.Names(), test.names) << test.text;
        EXPECT_EQ(traces.HasPart("Invalid INI file format"), test.trace != nullptr) << test.text;
        EXPECT_TRUE(!test.trace || traces.Has(test.trace, 2)) << test.trace;
    }
}

TEST(Instructions, WithoutAFileTheInlineListServes) {
    Fixture fixture;
    fixture.host.parameters["LumDependency"] = "a" + kItemTail + "|b" + kItemTail;
    TraceRecorder traces;
    fixture.extension.ParseIniFile(nullptr, true);
    EXPECT_EQ(fixture.Names(), "a/b/");
    EXPECT_TRUE(traces.HasPart("ASSERT lpszIniFile failed at file lum/lumext/lumext, line", 3));
    EXPECT_TRUE(fixture.manager.IsDone()); // suppressed
}

TEST(Instructions, CallbackExits) {
    const struct {
        const char *removed; // a parameter that the page lacks
        bool file;
        std::vector<std::string> codes;
        const char *end;
    } cases[] = {
        {"", true, {"1002"}, "End 5"},
        {"", false, {"5"}, "End 1"},
        {"LumComponentName", true, {"1", "5"}, "End 2"},
        {"LumUrlRoot", true, {"2"}, "End 5"},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.EnableLog();
        fixture.host.parameters.erase(test.removed);
        std::string path = fixture.dir.Write("lummac.ini", "[Kelvo]\nCount=1\nFile1=main" + kItemTail + "\n");
        TraceRecorder traces;
        fixture.extension.HandleIniFileCallback(LUMGetFileNotifyProgress, path.data());
        EXPECT_TRUE(traces.traces().empty());
        fixture.extension.HandleIniFileCallback(LUMGetFileNotifyDone, test.file ? path.data() : nullptr);
        EXPECT_EQ(fixture.host.LogCodes(), test.codes) << test.removed;
        EXPECT_EQ(traces.traces().back().text, std::string("CLumExtension::HandleIniFileCallback,") + test.end);
        EXPECT_EQ(fixture.extension.m_bStopped, test.codes.front() != "1002");
        EXPECT_EQ(fixture.host.requests.size(), test.codes.front() == "1002" ? 1u : 0u);
    }
}
