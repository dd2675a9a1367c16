// The item list: from its text to records.
#include <gtest/gtest.h>

#include "tests/support/LumFixture.h"
#include "tests/support/TraceRecorder.h"

namespace {

constexpr char kTen[] = "lib.dylib;p/lib.tgz;;2, 1.3;10;20;run;version;ignore;5";

} // namespace

TEST(Items, ListIsCutAtBarsAndTrimmed) {
    const struct {
        const char *list;
        const char *names;
    } cases[] = {
        {"a@", "a/"}, {"a@|", "a/"}, {"a@||b@", "a/b/"},          {" \t a@ \r\n| b@ ", "a/b/"}, {"a@| |b@|\n|", "a/b/"},
        {"", ""},     {"|", ""},     {"a@|too;short|b@", "a/b/"}, {"b@|a@|b@", "b/a/b/"},
    };
    for (const auto &test : cases) {
        LumFixture fixture;
        std::string list = test.list;
        for (std::size_t at; (at = list.find('@')) != std::string::npos;) {
            list.replace(at, 1, kItemTail);
        }
        EXPECT_TRUE(fixture.manager.ParseInstructions(list.c_str()));
        EXPECT_EQ(fixture.Names(), test.names) << test.list;
    }
    LumFixture fixture;
    TraceRecorder traces;
    EXPECT_FALSE(fixture.manager.ParseInstructions(nullptr));
    EXPECT_TRUE(traces.HasPart("ASSERT lpszInstructions failed at file lum/lumext/luminstallationmgr, line", 3));
}

TEST(Items, AttributesGoToTheirFields) {
    LumFixture fixture;
    fixture.host.parameters["lumcertification"] = "CERT";
    TraceRecorder traces;
    ASSERT_TRUE(fixture.manager.ParseItem((std::string(kTen) + ";abc;sha1;SIG;more;still more").c_str(), true));
    const CItem &item = *fixture.manager.m_aItems.at(0);
    EXPECT_EQ(item.m_strName, "lib.dylib");
    EXPECT_EQ(item.m_strUrl, "p/lib.tgz");
    EXPECT_EQ(item.m_strTarget, "");
    EXPECT_EQ(item.m_strVersion, "2,,1.3");
    EXPECT_EQ(item.m_dwFileSize, 10u);
    EXPECT_EQ(item.m_dwCompressedSize, 20u);
    EXPECT_EQ(item.m_strAction, "run");
    EXPECT_EQ(item.m_strUpdateControl, "version");
    EXPECT_EQ(item.m_strFailureControl, "ignore");
    EXPECT_EQ(item.m_nOSVersion, 5);
    EXPECT_EQ(item.m_strHashValue, "abc");
    EXPECT_EQ(item.m_strHashMethod, "sha1");
    EXPECT_EQ(item.m_strSignature, "SIG");
    EXPECT_EQ(item.m_strCertification, "CERT");
    EXPECT_EQ(item.m_nCertVerified, -1);
    EXPECT_EQ(item.m_dwState, 1u);
    EXPECT_EQ(item.m_pExtension, &fixture.extension);
    for (const char *text :
         {"Source Name : lib.dylib", "Url : p/lib.tgz", "Target : ", "Version : 2, 1.3", "File size : 10",
          "Compressed size : 20", "Action : run", "UpdateControl : version", "FailureControl : ignore",
          "OS version : 5", "Hash value of [lib.dylib] = abc", "algorithms of [lib.dylib] = sha1"}) {
        EXPECT_TRUE(traces.Has(text, 1)) << text;
    }
    EXPECT_TRUE(traces.HasPart("NPQXLUM : LumInstallationMgr::ParseItem,Item = lib.dylib;", 1));
}

TEST(Items, NumberOfAttributes) {
    const struct {
        const char *line;
        bool accepted;
        bool hash;
        bool certification;
    } cases[] = {
        {"a;b;c;1;1;1;;;", false, false, false},         // 9 and a final separator
        {"a;b;c;1;1;1;;;x", false, false, false},        // 9
        {kTen, true, false, false},                      // 10
        {"a;b;c;1;1;1;;;;0;", true, false, false},       // 10 and a final separator
        {"a;b;c;1;1;1;;;;0;h", true, true, false},       // 11
        {"a;b;c;1;1;1;;;;0;h;sha1", true, true, false},  // 12
        {"a;b;c;1;1;1;;;;0;h;sha1;", true, true, false}, // an empty signature at the end is no attribute
        {"a;b;c;1;1;1;;;;0;h;sha1;;", true, true, true}, // an empty one before another separator is
        {";;;;;;;;;;", true, false, false},
    };
    for (const auto &test : cases) {
        LumFixture fixture;
        fixture.host.parameters["lumcertification"] = "CERT";
        TraceRecorder traces;
        EXPECT_EQ(fixture.manager.ParseItem(test.line, true), test.accepted) << test.line;
        EXPECT_EQ(traces.Has("LumInstallationMgr::ParseItem, attrubutes.size() < 10", 3), !test.accepted) << test.line;
        EXPECT_EQ(fixture.manager.m_aItems.size(), test.accepted ? 1u : 0u);
        if (test.accepted) {
            EXPECT_EQ(!fixture.manager.m_aItems[0]->m_strHashValue.empty(), test.hash) << test.line;
            EXPECT_EQ(!fixture.manager.m_aItems[0]->m_strCertification.empty(), test.certification) << test.line;
        }
    }
    for (const char *nothing : {static_cast<const char *>(nullptr), ""}) {
        LumFixture fixture;
        TraceRecorder traces;
        EXPECT_FALSE(fixture.manager.ParseItem(nothing, true));
        EXPECT_TRUE(traces.Has("LumInstallationMgr::ParseItem , lpszItem is NULL", 2));
    }
}

TEST(Items, CleaningTakesOutTheRunOnly) {
    const struct {
        const char *name;
        const char *kept;
    } cases[] = {
        {"a \t\r\n", "a"},          {"a b", "a b"},           {"a ", "a "},
        {" \t\r\na \t\r\nb", "ab"}, {"a\t \r\n", "a\t \r\n"}, {"a\r\n", "a\r\n"},
    };
    for (const auto &test : cases) {
        LumFixture fixture;
        TraceRecorder traces;
        fixture.manager.ParseItem((std::string(test.name) + kItemTail).c_str(), true);
        ASSERT_EQ(fixture.manager.m_aItems.size(), 1u);
        EXPECT_EQ(fixture.manager.m_aItems[0]->m_strName, test.kept);
        EXPECT_EQ(traces.Has("LumInstallationMgr::ParseItem, item seperate by (\";\") not same", 2),
                  std::string(test.name) != test.kept);
    }
}

TEST(Items, NumbersAreReadFromTheStartOfTheText) {
    const struct {
        const char *text;
        std::uint32_t size;
        std::int32_t system;
    } cases[] = {
        {"12ab", 12, 12},
        {"ab", 0, 0},
        {"", 0, 0},
        {" 7", 7, 7},
        {"-1", 4294967295u, -1},
        {"4294967295", 4294967295u, -1},
    };
    for (const auto &test : cases) {
        LumFixture fixture;
        const std::string n = test.text;
        fixture.manager.ParseItem(("a;u;;1;" + n + ";" + n + ";;;;" + n + ";h").c_str(), true);
        ASSERT_EQ(fixture.manager.m_aItems.size(), 1u);
        EXPECT_EQ(fixture.manager.m_aItems[0]->m_dwFileSize, test.size) << n;
        EXPECT_EQ(fixture.manager.m_aItems[0]->m_dwCompressedSize, test.size) << n;
        EXPECT_EQ(fixture.manager.m_aItems[0]->m_nOSVersion, test.system) << n;
    }
}

TEST(Items, NamesAreFoundWithoutRegardToCase) {
    LumFixture fixture;
    for (const char *name : {"Ärger.bundle", "two", "TWO"}) {
        fixture.manager.ParseItem((std::string(name) + kItemTail).c_str(), true);
    }
    const auto &items = fixture.manager.m_aItems;
    EXPECT_EQ(fixture.manager.FindItem("äRGER.BUNDLE"), items[0]);
    EXPECT_EQ(fixture.manager.FindItem("Two"), items[1]); // the first of the same name
    EXPECT_EQ(fixture.manager.FindItem("tw"), nullptr);
    EXPECT_EQ(fixture.manager.FindItem(nullptr), nullptr);
    TraceRecorder traces;
    EXPECT_FALSE(items[0]->IsSameFileName(nullptr));
    EXPECT_TRUE(traces.HasPart("ASSERT lpszFileName failed at file lum/lumext/lumdownloaditem, line", 3));

    fixture.manager.AddItem(nullptr);
    traces.Clear();
    fixture.manager.RemoveAllItem();
    EXPECT_TRUE(items.empty());
    EXPECT_TRUE(traces.HasPart("ASSERT pItem failed at file lum/lumext/luminstallationmgr, line", 3));
}

TEST(Items, TextComparison) {
    EXPECT_EQ(safe_strcasecmp("Straße", "STRASSE"), -1);
    EXPECT_EQ(safe_strcasecmp("ÉTÉ", "été"), 0);
    EXPECT_EQ(safe_strcasecmp("\u00e9", "e\u0301"), -1); // composed or not: other characters
    EXPECT_EQ(safe_strcasecmp("a", "b"), -1);
    EXPECT_EQ(safe_strcasecmp("b", "a"), -1);
    EXPECT_EQ(safe_strcasecmp(nullptr, nullptr), -1);
    EXPECT_EQ(safe_strcasecmp("", ""), 0);
    EXPECT_EQ(safe_strcasecmp("\xff", "\xff"), -1); // not a text
    EXPECT_EQ(safe_strlen("\u20ac"), 1u);
    EXPECT_EQ(safe_strlen("\U0001F600"), 2u);
    EXPECT_EQ(safe_strlen(nullptr), 0u);
}
