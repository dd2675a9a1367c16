// The tables of texts: complete, translated, and usable as formats.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#include "lum/lumext/TraceLines.h"
#include "lum/platform/ObjcEach.h"
#include "tests/support/Gmock.h"
#include "tests/support/TempDir.h"

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

NSDictionary *ReadTable(const std::string &table, const std::string &language) {
    const std::string content = ReadFile(TEST_BUNDLE "/Resources/" + table + "_" + language + ".strings");
    EXPECT_TRUE(content.starts_with(kByteOrderMark)) << language << " would be read in the locale's encoding";
    NSDictionary *texts = [[NSString stringWithUTF8String:content.c_str()] propertyListFromStringsFileFormat];
    EXPECT_NE(texts, nil) << language << " is not UTF-8 or not a table";
    return texts;
}

std::vector<std::string> KeysOf(NSDictionary *table) {
    std::vector<std::string> keys;
    for (NSString *key : Each<NSString *>([table allKeys])) {
        keys.push_back([key UTF8String]);
    }
    return keys;
}

// The texts of a table: what its English file has.
std::vector<std::string> TextsOf(const std::string &table) {
    return KeysOf(ReadTable(table, "English"));
}

// The extension's sources as one text, literals that the compiler would join joined.
std::string AllSources() {
    std::string text;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(LUM_SOURCES)) {
        const std::string extension = entry.path().extension();
        if (extension == ".mm" || extension == ".cpp" || extension == ".h") {
            text += ReadFile(entry.path());
        }
    }
    return std::regex_replace(text, std::regex("\"[ \\\\]*\n *@?\""), "");
}

std::string AsInSource(std::string text) {
    replaceall(text, "\n", "\\n");
    return text;
}

struct Language {
    std::string identifier; // of the page
    std::string name;
};

// One identifier for each table.
std::vector<Language> Languages() {
    std::vector<Language> languages;
    std::set<std::string> seen;
    for (int i = 1; i <= 20; ++i) {
        const std::string identifier = std::to_string(i);
        const std::string name = localizedExtNameFromLanguageID(identifier.c_str());
        if (seen.insert(name).second) {
            languages.push_back({identifier, name});
        }
    }
    return languages;
}

std::string Translated(const Language &language, const std::string &text, const std::string &table = "Localizable") {
    NSString *key = [NSString stringWithUTF8String:text.c_str()];
    NSString *name = [NSString stringWithUTF8String:(table + "_" + language.name).c_str()];
    return [[[NSBundle bundleWithPath:@TEST_BUNDLE] localizedStringForKey:key value:key table:name] UTF8String];
}

std::vector<std::string> Conversions(const std::string &text) {
    static const std::regex conversion("%([0-9]+\\$)?[-+ #0]*[0-9]*(\\.[0-9]*)?(hh|h|ll|l|L|q|j|z|t)?[@a-zA-Z%]");
    return {std::sregex_token_iterator(text.begin(), text.end(), conversion), std::sregex_token_iterator()};
}

std::string LineEndsOf(std::string text) {
    std::erase_if(text, [](char c) { return c != '\n'; });
    return text;
}

} // namespace

TEST(Texts, ThereAreSeventeenLanguages) {
    EXPECT_EQ(Languages().size(), 17u);
    EXPECT_EQ(Languages().front().name, "English");
}

TEST(Texts, EnglishIsTheKey) {
    for (const char *table : {"Localizable", "CertificateTrustPanel"}) {
        for (const std::string &text : TextsOf(table)) {
            EXPECT_EQ(Translated(Languages().front(), text, table), text);
        }
    }
}

TEST(Texts, TablesAndSourcesHoldTheSame) {
    const std::string sources = AllSources();
    std::set<std::string> keys;
    for (const char *table : {"Localizable", "CertificateTrustPanel"}) {
        for (const std::string &text : TextsOf(table)) {
            EXPECT_NE(sources.find('"' + AsInSource(text) + '"'), std::string::npos) << "nothing looks up: " << text;
            keys.insert(AsInSource(text));
        }
    }
    // The calls that name their text.
    const std::regex lookUp(R"r(\b(?:(?:Localized|Text|TrustPanelText)\((?:\w+, )?@|getLocalizedString\()"([^"]+)")r");
    std::size_t found = 0;
    for (std::sregex_iterator match(sources.begin(), sources.end(), lookUp), end; match != end; ++match, ++found) {
        EXPECT_TRUE(keys.contains((*match)[1])) << "in no table: " << (*match)[1];
    }
    EXPECT_GT(found, 20u);
}

class TextTables : public ::testing::TestWithParam<const char *> {};

TEST_P(TextTables, EachHasEachTextAndNothingElse) {
    for (const Language &language : Languages()) {
        EXPECT_THAT(KeysOf(ReadTable(GetParam(), language.name)),
                    ::testing::UnorderedElementsAreArray(TextsOf(GetParam())))
            << language.name;
    }
}

TEST_P(TextTables, ATranslationIsOneAndCanTakeTheSameValues) {
    const std::set<std::string> mayStay = {"OK"};
    for (const Language &language : Languages()) {
        if (language.name == "English") {
            continue;
        }
        for (const std::string &text : TextsOf(GetParam())) {
            const std::string translated = Translated(language, text, GetParam());
            EXPECT_TRUE(translated != text || mayStay.contains(text)) << language.name << ": " << text;
            EXPECT_EQ(Conversions(translated), Conversions(text)) << language.name << ": " << translated;
            EXPECT_EQ(LineEndsOf(translated), LineEndsOf(text)) << language.name << ": " << translated;
            EXPECT_EQ(translated.ends_with(' '), text.ends_with(' ')) << language.name << ": " << translated;
            EXPECT_FALSE(translated.starts_with(' ')) << language.name << ": " << translated;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, TextTables, ::testing::Values("Localizable", "CertificateTrustPanel"));

TEST(Texts, TheAlertAndTheMessageSayTheSame) {
    for (const Language &language : Languages()) {
        const std::string message = Translated(language, LUM_TEXT_SECOND_MEETING);
        EXPECT_TRUE(message.starts_with(Translated(language, "You already have one meeting in progress.")))
            << language.name;
        EXPECT_TRUE(message.ends_with(
            Translated(language, "You can start or join a new meeting after you leave the previous meeting.")))
            << language.name;
    }
}
