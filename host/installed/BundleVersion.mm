#include "host/installed/BundleVersion.h"

#import <Foundation/Foundation.h>

namespace lumhost {

std::string BundleVersion(const std::filesystem::path &bundle) {
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    std::string version;
    for (const char *place : {"Contents/Info.plist", "Resources/Info-gnustep.plist", "Resources/Info.plist",
                              "Versions/Current/Resources/Info.plist", "Info.plist"}) {
        NSDictionary *info =
            [NSDictionary dictionaryWithContentsOfFile:[NSString stringWithUTF8String:(bundle / place).c_str()]];
        for (NSString *key : {@"CFBundleShortVersionString", @"CFBundleVersion"}) {
            id value = [info objectForKey:key];
            if (version.empty() && [value isKindOfClass:[NSString class]]) {
                version = [value UTF8String];
            }
        }
        if (!version.empty()) {
            break;
        }
    }
    [pool drain];
    return version;
}

} // namespace lumhost
