#import "lum/platform/linux/localization.h"

#import <Foundation/Foundation.h>

#include <initializer_list>

#include "lum/platform/objceach.h"

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
