// The tables of texts: complete, translated, and usable as formats.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>
#include <vector>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#include "lum/platform/ObjcEach.h"
#include "tests/support/TempDir.h"

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

// Every text that the extension looks up, in the words in which it does.
const std::vector<std::string> kTexts = {
    "Setup was unsuccessful. Please restart browser and try again.\n\n\nError [%d]\n\n",
    "Setup was unsuccessful. Please restart browser and try again.\n\n\nError [%d], URL [%s]\n",
    "Setup was unsuccessful. Please restart browser and try again.\n\n\nError [%d], File [%s]\n",
    "You already have one meeting in progress. You can start or join a new meeting after you leave the previous "
    "meeting.",
    "You already have one meeting in progress.",
    "You can start or join a new meeting after you leave the previous meeting.",
    "Too Many Meetings",
    "OK",
    "Stop",
    "Time remaining: about 1 minute",
    "Time remaining: about %d minutes",
    "Cancel",
    "Host: ",
    "Preparing your meeting...",
    "Connecting...",
};

// What the certificate trust panel says.
const std::vector<std::string> kPanelTexts = {
    "Certificate",
    "OK",
    "Cancel",
    "Your settings refuse this certificate or one that vouches for it.",
    "Nobody whom this computer trusts vouches for this certificate.",
    "This certificate or one that vouches for it is too weak or was issued against the rules.",
    "This certificate or one that vouches for it is not valid yet.",
    "This certificate or one that vouches for it has expired.",
    "Please confirm this certificate.",
    "from %@ to %@",
    "(no name)",
    "Issued to",
    "Issued by",
    "Valid",
    "SHA-256 fingerprint",
    "Do you trust the certificate of this site?",
    "Software from this site can run on this computer if you continue. Continue only if the fingerprint below is the "
    "one "
    "that the site's owner told you.",
};

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

NSBundle *Bundle() {
    return [NSBundle bundleWithPath:@TEST_BUNDLE];
}

std::string Translated(const Language &language, const std::string &text, const std::string &table = "Localizable") {
    NSString *key = [NSString stringWithUTF8String:text.c_str()];
    NSString *name = [NSString stringWithUTF8String:(table + "_" + language.name).c_str()];
    return [[Bundle() localizedStringForKey:key value:key table:name] UTF8String];
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
    for (const std::string &text : kPanelTexts) {
        EXPECT_EQ(Translated(Languages().front(), text, "CertificateTrustPanel"), text);
    }
    for (const std::string &text : kTexts) {
        EXPECT_EQ(Translated(Languages().front(), text), text);
    }
}

class TextTables : public ::testing::TestWithParam<std::pair<std::string, std::vector<std::string>>> {};

TEST_P(TextTables, EachHasEachTextAndNothingElse) {
    for (const Language &language : Languages()) {
        const std::string file = GetParam().first + "_" + language.name + ".strings";
        const std::string content = ReadFile(TEST_BUNDLE "/Resources/" + file);
        EXPECT_TRUE(content.starts_with(kByteOrderMark)) << language.name << " would be read in the locale's encoding";
        NSDictionary *table = [[NSString stringWithUTF8String:content.c_str()] propertyListFromStringsFileFormat];
        ASSERT_NE(table, nil) << language.name << " is not UTF-8 or not a table";
        std::vector<std::string> keys;
        for (NSString *key : Each<NSString *>([table allKeys])) {
            keys.push_back([key UTF8String]);
        }
        EXPECT_THAT(keys, ::testing::UnorderedElementsAreArray(GetParam().second)) << language.name;
    }
}

TEST_P(TextTables, ATranslationIsOneAndCanTakeTheSameValues) {
    const std::set<std::string> mayStay = {"OK"};
    for (const Language &language : Languages()) {
        if (language.name == "English") {
            continue;
        }
        for (const std::string &text : GetParam().second) {
            const std::string translated = Translated(language, text, GetParam().first);
            EXPECT_TRUE(translated != text || mayStay.contains(text)) << language.name << ": " << text;
            EXPECT_EQ(Conversions(translated), Conversions(text)) << language.name << ": " << translated;
            EXPECT_EQ(LineEndsOf(translated), LineEndsOf(text)) << language.name << ": " << translated;
            EXPECT_EQ(translated.ends_with(' '), text.ends_with(' ')) << language.name << ": " << translated;
            EXPECT_FALSE(translated.starts_with(' ')) << language.name << ": " << translated;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, TextTables,
                         ::testing::Values(std::pair("Localizable", kTexts),
                                           std::pair("CertificateTrustPanel", kPanelTexts)));

TEST(Texts, TheAlertAndTheMessageSayTheSame) {
    for (const Language &language : Languages()) {
        const std::string message = Translated(language, kTexts[3]);
        EXPECT_TRUE(message.starts_with(Translated(language, kTexts[4]))) << language.name;
        EXPECT_TRUE(message.ends_with(Translated(language, kTexts[5]))) << language.name;
    }
}
