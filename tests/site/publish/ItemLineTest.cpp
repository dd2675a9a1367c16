#include "site/publish/ItemLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/site/DemoSite.h"

using namespace lumsite;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

ItemLine GoodItem() {
    ItemLine item;
    item.name = "confshell.bundle";
    item.url = "packages/confshell.bundle-1.tar.gz";
    item.version = "2,1,3,4";
    item.fileSize = 10;
    item.compressedSize = 20;
    item.updateControl = "version";
    item.hashValue = std::string(64, 'a');
    item.hashMethod = "sha256";
    item.signature = "c2ln";
    return item;
}

Findings Examine(const ItemLine &item) {
    return ExamineItem(SplitItemLine(ToText(item)));
}

} // namespace

TEST(ItemLine, IsCutAsTheExtensionCutsIt) {
    EXPECT_THAT(SplitItemLine("a;b;;c;"), ElementsAre("a", "b", "", "c"));
    EXPECT_THAT(SplitItemLine("a;b;;"), ElementsAre("a", "b", ""));
    EXPECT_THAT(SplitItemLine(";a b"), ElementsAre("", "a b"));
    EXPECT_THAT(SplitItemLine("a \t\r\nb;c \t"), ElementsAre("ab", "c \t"));
    EXPECT_TRUE(SplitItemLine("").empty());
}

TEST(ItemLine, TakesWhatTheExtensionTakes) {
    std::vector<ItemLine> good(7, GoodItem());
    good[1].name = "libklv.dylib";
    good[2].name = "Kelvo Join-2.app";
    good[3].target = "/Library/Kelvo";
    good[4].target = "%shared%";
    good[5].updateControl = "Always";
    good[5].failureControl = "REBOOT";
    good[6].hashMethod = "sha1";
    good[6].hashValue = std::string(40, '0');
    for (const ItemLine &item : good) {
        EXPECT_EQ(TextOf(Examine(item)), "") << ToText(item);
    }
}

TEST(ItemLine, NearMissesAreNamed) {
    struct Case {
        Attribute attribute;
        const char *value;
        const char *says;
    };
    const Case cases[] = {
        {kName, "a/b.bundle", "not the name of one file"},
        {kName, "..", "not the name of one file"},
        {kName, "", "not the name of one file"},
        {kName, "\"a.bundle", "begins with a quote"},
        {kName, "a.bundle ", "blank at an end"},
        {kName, "a|b.bundle", "separates values"},
        {kName, "README", "has no \".\""},
        {kName, "libklv.1.dylib", "not of the form stem.dylib"},
        {kName, "dylibs.bundle", "not of the form stem.dylib"},
        {kName, "libklv-2.dylib", "\"-\" in its stem"},
        {kName, ".dylib", "no usable stem"},
        {kUrl, "", "is empty"},
        {kUrl, "/packages/a", "not relative"},
        {kUrl, "http://elsewhere/a", "not relative"},
        {kUrl, "packages/../../a", "\"..\" step"},
        {kUrl, "packages/a b", "cannot carry"},
        {kUrl, "packages/a?b", "cannot carry"},
        {kTarget, "%System%", "refused by the extension"},
        {kTarget, "Kelvo/parts", "relative folder"},
        {kTarget, "/opt/dylibs", "looked for as a library"},
        {kVersion, "1.2.3.4", "not four numbers"},
        {kVersion, "1,2,3", "not four numbers"},
        {kVersion, "1,02,3,4", "not four numbers"},
        {kVersion, "", "not four numbers"},
        {kFileSize, "12k", "not a number of bytes"},
        {kCompressedSize, "4294967296", "not a number of bytes"},
        {kCompressedSize, "0", "is nothing"},
        {kUpdateControl, "versions", "fetched on every visit"},
        {kFailureControl, "restart", "means nothing"},
        {kOSVersion, "10.9", "not a whole number"},
        {kHashMethod, "SHA256", "not exactly sha1 or sha256"},
        {kHashMethod, "sha1", "not the digest"}, // the value has 64 digits
        {kHashValue, "AAAA", "not the digest"},
        {kHashValue, "", "is empty"},
    };
    for (const Case &each : cases) {
        std::vector<std::string> attributes = SplitItemLine(ToText(GoodItem()));
        attributes[each.attribute] = each.value;
        EXPECT_THAT(TextOf(ExamineItem(attributes)), HasSubstr(each.says)) << each.value;
    }
    std::vector<std::string> attributes = SplitItemLine(ToText(GoodItem()));
    attributes.resize(12);
    EXPECT_THAT(TextOf(ExamineItem(attributes)), HasSubstr("without hash value, hash method and signature"));
    attributes.resize(9);
    EXPECT_THAT(TextOf(ExamineItem(attributes)), HasSubstr("fewer than 10"));
}

TEST(ItemLine, VersionsAndLibraryNames) {
    EXPECT_EQ(VersionWithCommas("2.1.3.4"), "2,1,3,4");
    EXPECT_EQ(VersionWithCommas("0,0,0,4294967295"), "0,0,0,4294967295");
    for (const char *bad : {"", "1.2.3", "1.2.3.4.5", "1.2.3.", "1.2,3.4", "1.2.3.x", "1.2.3.04", "1.2.3.4294967296"}) {
        EXPECT_EQ(VersionWithCommas(bad), "") << bad;
    }
    EXPECT_EQ(InstalledLibraryName("libklv.dylib", "1,2,3,4"), "libklv-1.2.3.4.dylib");
    EXPECT_EQ(InstalledLibraryName("a.bundle", "1,2,3,4"), "");
}

TEST(ItemLine, NamesAreEqualWithoutRegardToCaseInAnyScript) {
    EXPECT_EQ(FoldCase("Übung.APP"), FoldCase("üBUNG.app"));
    EXPECT_NE(FoldCase("Ubung.app"), FoldCase("Übung.app"));
    EXPECT_NE(FoldCase("a"), FoldCase("ab"));
}
