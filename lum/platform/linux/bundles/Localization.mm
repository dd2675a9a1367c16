#import "lum/platform/linux/bundles/Localization.h"

#import <Foundation/Foundation.h>

#include <cstdlib>
#include <initializer_list>

#include "lum/platform/ObjcEach.h"

namespace {

// The languages that had localizations named in words before there were codes.
NSString *CodeOfLanguage(NSString *name) {
    static NSDictionary *const codes =
        [[NSDictionary alloc] initWithObjectsAndKeys:@"en", @"english", @"fr", @"french", @"de", @"german", @"it",
                                                     @"italian", @"ja", @"japanese", @"es", @"spanish", @"nl", @"dutch",
                                                     @"pt", @"portuguese", @"sv", @"swedish", @"ko", @"korean", nil];
    NSString *lower = [[name lowercaseString] stringByReplacingOccurrencesOfString:@"-" withString:@"_"];
    NSString *code = [codes objectForKey:lower];
    return code ? code : lower;
}

NSString *WithoutRegion(NSString *code) {
    return [[code componentsSeparatedByString:@"_"] objectAtIndex:0];
}

NSString *Find(NSArray *localizations, NSString *language) {
    NSString *code = CodeOfLanguage(language);
    for (NSString *wanted : {code, WithoutRegion(code)}) {
        for (NSString *localization : Each<NSString *>(localizations)) {
            if ([CodeOfLanguage(localization) isEqualToString:wanted]) {
                return localization;
            }
        }
    }
    return nil;
}

NSString *Variable(const char *name) {
    const char *value = std::getenv(name);
    return value && *value ? [NSString stringWithUTF8String:value] : nil;
}

// "de_AT" of "de_AT.UTF-8@euro".
NSString *WithoutEncoding(NSString *locale) {
    NSCharacterSet *ends = [NSCharacterSet characterSetWithCharactersInString:@".@"];
    return [[locale componentsSeparatedByCharactersInSet:ends] objectAtIndex:0];
}

NSArray *LanguagesOfEnvironment() {
    NSString *locale = nil;
    for (const char *name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        locale = locale ? locale : Variable(name);
    }
    locale = locale ? WithoutEncoding(locale) : nil;
    if (!locale || [locale isEqualToString:@"C"] || [locale isEqualToString:@"POSIX"]) {
        return [NSArray array]; // then a list of languages does not count either
    }
    NSString *list = Variable("LANGUAGE");
    NSMutableArray *languages = [NSMutableArray array];
    for (NSString *language : Each<NSString *>([list componentsSeparatedByString:@":"])) {
        [languages addObject:WithoutEncoding(language)];
    }
    [languages addObject:locale];
    return languages;
}

} // namespace

NSString *PreferredLocalization(NSArray *localizations, NSString *developmentRegion) {
    NSMutableArray *languages = [NSMutableArray arrayWithArray:[NSUserDefaults userLanguages]];
    if ([developmentRegion isKindOfClass:[NSString class]]) {
        [languages addObject:developmentRegion];
    }
    [languages addObject:@"English"];
    for (NSString *language : Each<NSString *>(languages)) {
        NSString *found = Find(localizations, language);
        if (found) {
            return found;
        }
    }
    return [localizations count] > 0 ? [localizations objectAtIndex:0] : nil;
}

NSString *LocalizationOfEnvironment(NSArray *localizations) {
    for (NSString *language : Each<NSString *>(LanguagesOfEnvironment())) {
        NSString *found = Find(localizations, language);
        if (found) {
            return found;
        }
    }
    return PreferredLocalization(localizations, nil);
}
