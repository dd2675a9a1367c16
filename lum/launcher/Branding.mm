#include "lum/launcher/Branding.h"

#import <Foundation/Foundation.h>

#include "lum/platform/ObjcEach.h"
#include "base/objc/ScopedPool.h"
#include "lum/platform/Session.h"

namespace {

NSString *const kNameKey = @"CFBundleName";
NSString *const kDisplayNameKey = @"CFBundleDisplayName";

struct Brand {
    NSString *name;
    NSString *displayName;
};

Brand BrandOfProduct(long productType) {
    const bool isMeetings = productType == 1 || productType == 2;
    return isMeetings ? Brand{@"Kelvo Meetings", @"Kelvo Meetings"} : Brand{@"Meeting Hall", @"Kelvo Meeting Hall"};
}

// X.app of X.app/Contents/MacOS/X; nil when there is none.
NSString *BundleOfExecutable(const std::string &executablePath) {
    const auto end = executablePath.find("/Contents");
    if (end == std::string::npos || end == 0) {
        return nil;
    }
    return [NSString stringWithUTF8String:executablePath.substr(0, end).c_str()];
}

void WriteStrings(NSDictionary *strings, NSString *bundlePath) {
    NSData *data = [NSPropertyListSerialization dataWithPropertyList:strings
                                                              format:NSPropertyListXMLFormat_v1_0
                                                             options:0
                                                               error:nullptr];
    NSString *resources = ResourcePathOfBundle(bundlePath);
    for (NSString *localization : Each<NSString *>(LocalizationsOfBundle(bundlePath))) {
        NSString *file = [NSString stringWithFormat:@"%@/%@.lproj/InfoPlist.strings", resources, localization];
        [data writeToFile:file atomically:NO];
    }
}

} // namespace

void MatchBundleNameToProduct(const std::string &executablePath, long productType) {
    const base::ScopedPool pool;
    NSString *bundlePath = BundleOfExecutable(executablePath);
    NSDictionary *info = bundlePath ? LocalizedInfoDictionaryOfBundle(bundlePath) : nil;
    const Brand brand = BrandOfProduct(productType);
    if (!info || [[info objectForKey:kNameKey] isEqual:brand.name]) {
        return;
    }
    NSMutableDictionary *strings = [[info mutableCopy] autorelease];
    [strings setObject:brand.name forKey:kNameKey];
    [strings setObject:brand.displayName forKey:kDisplayNameKey];
    WriteStrings(strings, bundlePath);
}
