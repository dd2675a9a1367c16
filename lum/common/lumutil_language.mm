#include <array>
#include <charconv>
#include <string_view>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#include "lum/platform/Session.h"

namespace {

// Names of the localizations for the page's language identifiers "1", "2", ...; long and short forms as they are.
constexpr std::array<std::string_view, 20> kLocalizations = {
    "English", "English", "zh_CN", "zh_TW", "Japanese", "ko", "French",  "French", "German", "Italian",
    "Spanish", "es_419",  "sv",    "Dutch", "pt",       "ru", "English", "da",     "fi",     "pl",
};
constexpr std::string_view kFallback = "English";

// The number that the identifier writes, 0 when it is not exactly such a number.
unsigned int NumberOf(std::string_view identifier) {
    unsigned int number = 0;
    const char *end = identifier.data() + identifier.size();
    const auto [rest, error] = std::from_chars(identifier.data(), end, number);
    const bool whole = error == std::errc() && rest == end && !identifier.starts_with('0');
    return whole ? number : 0;
}

} // namespace

std::string localizedExtNameFromLanguageID(const char *languageId) {
    const unsigned int number = languageId ? NumberOf(languageId) : 0;
    return std::string(number >= 1 && number <= kLocalizations.size() ? kLocalizations[number - 1] : kFallback);
}

NSBundle *ExtensionBundle() {
    return BundleWithIdentifierOrCode(@LUM_BUNDLE_IDENTIFIER, reinterpret_cast<const void *>(&ExtensionBundle));
}

NSString *LocalizedText(NSBundle *bundle, const char *languageId, NSString *key) {
    NSString *table = [NSString stringWithFormat:@"Localizable_%s", localizedExtNameFromLanguageID(languageId).c_str()];
    NSString *text = [bundle localizedStringForKey:key value:key table:table];
    return text ? text : key;
}
