#include "delivery/instructions/ItemLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace delivery {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> GoodItem() {
    return SplitItemLine("confshell.bundle;packages/confshell.bundle-1.tar.gz;;2,1,3,4;10;20;;version;;0;" +
                         std::string(64, 'a') + ";sha256;c2ln");
}

// What is said of the good item with these attributes in place of its own.
std::string Said(const std::vector<std::pair<Attribute, std::string>> &changes) {
    std::vector<std::string> attributes = GoodItem();
    for (const auto &[attribute, value] : changes) {
        attributes[attribute] = value;
    }
    std::string said;
    for (const base::Finding &finding : ExamineItem(attributes)) {
        said += finding.what + "\n";
    }
    return said;
}

TEST(ItemLine, IsCutAsTheExtensionCutsIt) {
    EXPECT_THAT(SplitItemLine("a;b;;c;"), ElementsAre("a", "b", "", "c"));
    EXPECT_THAT(SplitItemLine("a;b;;"), ElementsAre("a", "b", ""));
    EXPECT_THAT(SplitItemLine(";a b"), ElementsAre("", "a b"));
    EXPECT_THAT(SplitItemLine("a \t\r\nb;c \t"), ElementsAre("ab", "c \t"));
    EXPECT_TRUE(SplitItemLine("").empty());
}

TEST(ItemLine, TakesWhatTheExtensionTakes) {
    EXPECT_EQ(Said({}), "");
    EXPECT_EQ(Said({{kName, "libklv.dylib"}}), "");
    EXPECT_EQ(Said({{kName, "Kelvo Join-2.app"}}), "");
    EXPECT_THAT(Said({{kTarget, "/Library/Kelvo"}}), HasSubstr("install anywhere"));
    EXPECT_EQ(Said({{kTarget, "%shared%"}}), "");
    EXPECT_EQ(Said({{kUpdateControl, "Always"}, {kFailureControl, "REBOOT"}}), "");
    EXPECT_EQ(Said({{kHashMethod, "sha1"}, {kHashValue, std::string(40, '0')}}), "");
}

TEST(ItemLine, NearMissesAreNamed) {
    const struct {
        Attribute attribute;
        const char *value;
        const char *says;
    } cases[] = {
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
    for (const auto &each : cases) {
        EXPECT_THAT(Said({{each.attribute, each.value}}), HasSubstr(each.says)) << each.value;
    }
    std::vector<std::string> attributes = GoodItem();
    attributes.resize(12);
    EXPECT_THAT(ExamineItem(attributes).at(0).what, HasSubstr("without hash value, hash method and signature"));
    attributes.resize(9);
    EXPECT_THAT(ExamineItem(attributes).at(0).what, HasSubstr("fewer than 10"));
}

TEST(ItemLine, VersionsAreFourNumbers) {
    EXPECT_EQ(VersionWithCommas("2.1.3.4"), "2,1,3,4");
    EXPECT_EQ(VersionWithCommas("0,0,0,4294967295"), "0,0,0,4294967295");
    for (const char *bad : {"", "1.2.3", "1.2.3.4.5", "1.2.3.", "1.2,3.4", "1.2.3.x", "1.2.3.04", "1.2.3.4294967296"}) {
        EXPECT_EQ(VersionWithCommas(bad), "") << bad;
    }
}

TEST(ItemLine, NamesAreEqualWithoutRegardToCaseInAnyScript) {
    EXPECT_EQ(FoldCase("Übung.APP"), FoldCase("üBUNG.app"));
    EXPECT_NE(FoldCase("Ubung.app"), FoldCase("Übung.app"));
    EXPECT_NE(FoldCase("a"), FoldCase("ab"));
}

} // namespace
} // namespace delivery
