#include <gtest/gtest.h>
#include <filesystem>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;

namespace {

class Bundle : public testing::Test {
protected:
    TempDir m_dir;
};

} // namespace

TEST_F(Bundle, FunctionOfALoadedBundle) {
    const std::string path = m_dir / "Sample.bundle";
    fs::create_directories(path + "/Contents/MacOS");
    fs::copy_file(LUM_SAMPLE_CODE, path + "/Contents/MacOS/Sample");

    CFBundleRef bundle = LoadLibrary(path);
    ASSERT_NE(bundle, nullptr);
    auto *function = reinterpret_cast<int (*)()>(GetFunctionPointer(bundle, "SampleAnswer"));
    ASSERT_NE(function, nullptr);
    EXPECT_EQ(function(), 42);
    EXPECT_EQ(GetFunctionPointer(bundle, "NoSuchFunction"), nullptr);
    EXPECT_EQ(GetFunctionPointer(bundle, nullptr), nullptr);
    EXPECT_EQ(GetFunctionPointer(nullptr, "SampleAnswer"), nullptr);
    EXPECT_EQ(FreeLibrary(bundle), 1);
    EXPECT_EQ(FreeLibrary(nullptr), 1);
}

TEST_F(Bundle, WhatIsNoCode) {
    EXPECT_EQ(LoadLibrary(""), nullptr);
    EXPECT_EQ(LoadLibrary(m_dir / "missing.bundle"), nullptr);
    EXPECT_EQ(LoadLibrary(m_dir.Write("file.bundle", "")), nullptr);

    fs::create_directory(m_dir / "Empty.bundle");
    CFBundleRef empty = LoadLibrary(m_dir / "Empty.bundle");
    EXPECT_EQ(GetFunctionPointer(empty, "SampleAnswer"), nullptr);
    FreeLibrary(empty);
}

TEST_F(Bundle, LocalizedTexts) {
    m_dir.Write("T.bundle/Resources/Localizable_German.strings", "\"Stop\" = \"Anhalten\";\n");
    m_dir.Write("T.bundle/Resources/Localizable_English.strings", "\"Stop\" = \"Stop it\";\n");
    NSBundle *bundle = [NSBundle bundleWithPath:[NSString stringWithUTF8String:(m_dir / "T.bundle").c_str()]];
    struct {
        const char *language;
        NSString *key, *expected;
    } const cases[] = {
        {"9", @"Stop", @"Anhalten"}, {"1", @"Stop", @"Stop it"}, {nullptr, @"Stop", @"Stop it"},
        {"9", @"Go", @"Go"},         {"10", @"Stop", @"Stop"}, // no such table
    };
    for (const auto &c : cases) {
        EXPECT_TRUE([LocalizedText(bundle, c.language, c.key) isEqualToString:c.expected]) << [c.key UTF8String];
    }
    EXPECT_TRUE([LocalizedText(nil, "9", @"Stop") isEqualToString:@"Stop"]);
}

TEST_F(Bundle, ExtensionHasNoneInAPlainProgram) {
    EXPECT_EQ(ExtensionBundle(), nil);
}
