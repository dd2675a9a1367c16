// AppKit here draws a character that a control's font lacks with one of the "preferred" fonts, of which there are none
// at first, so that all of Chinese, Japanese and Korean comes out as question marks. The desktop's own order of fonts
// fills the list.
#include <fontconfig/fontconfig.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>

#import <AppKit/AppKit.h>

#include "base/objc/ScopedPool.h"
#include "lum/platform/Session.h"

namespace {

constexpr NSUInteger kMostFonts = 24; // each is opened when a character is looked for that no font has

struct Destroy {
    void operator()(FcPattern *pattern) const {
        FcPatternDestroy(pattern);
    }
    void operator()(FcFontSet *fonts) const {
        FcFontSetDestroy(fonts);
    }
};
using Pattern = std::unique_ptr<FcPattern, Destroy>;
using FontSet = std::unique_ptr<FcFontSet, Destroy>;

const FcChar8 *Text(const char *text) {
    return reinterpret_cast<const FcChar8 *>(text);
}

// Only the languages that write the same characters in ways of their own.
const char *LanguageTag(std::string_view localization) {
    static const std::map<std::string_view, const char *> tags = {
        {"zh_CN", "zh-cn"}, {"zh_TW", "zh-tw"}, {"Japanese", "ja"}, {"ko", "ko"}};
    const auto found = tags.find(localization);
    return found == tags.end() ? nullptr : found->second;
}

// Sans-serif fonts in the order of the desktop's settings, without those that add no character to the ones before.
FontSet SortedFonts(const char *language) {
    const Pattern wanted(FcPatternCreate());
    FcPatternAddString(wanted.get(), FC_FAMILY, Text("sans-serif"));
    FcPatternAddInteger(wanted.get(), FC_WEIGHT, FC_WEIGHT_REGULAR);
    FcPatternAddBool(wanted.get(), FC_OUTLINE, FcTrue);
    if (language) {
        FcPatternAddString(wanted.get(), FC_LANG, Text(language));
    }
    FcConfigSubstitute(nullptr, wanted.get(), FcMatchPattern);
    FcDefaultSubstitute(wanted.get());
    FcResult result;
    return FontSet(FcFontSort(nullptr, wanted.get(), FcTrue, nullptr, &result));
}

} // namespace

void PreferFontsForLocalization(const char *localization) {
    const FontSet fonts = SortedFonts(localization ? LanguageTag(localization) : nullptr);
    if (!fonts) {
        return;
    }
    const base::ScopedPool pool;
    NSMutableArray *names = [NSMutableArray array];
    for (int i = 0; i < fonts->nfont && [names count] < kMostFonts; ++i) {
        FcChar8 *name = nullptr;
        FcBool outline = FcFalse;
        FcPatternGetBool(fonts->fonts[i], FC_OUTLINE, 0, &outline);
        if (outline && FcPatternGetString(fonts->fonts[i], FC_POSTSCRIPT_NAME, 0, &name) == FcResultMatch) {
            [names addObject:[NSString stringWithUTF8String:reinterpret_cast<const char *>(name)]];
        }
    }
    [NSFont setPreferredFontNames:names];
}
