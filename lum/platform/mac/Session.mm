#import "lum/platform/Session.h"

#import <Foundation/Foundation.h>

#include <dlfcn.h>
#include <errno.h>

NSDictionary *EnvironmentOfNewTask(NSTask *task) {
    return [task environment];
}

int LaunchTask(NSTask *task) {
    NSFileHandle *nothing = [NSFileHandle fileHandleWithNullDevice];
    [task setStandardInput:nothing];
    [task setStandardOutput:nothing];
    [task setStandardError:nothing];
    if (CatchObjCException([](void *context) { [static_cast<NSTask *>(context) launch]; }, task)) {
        errno = ENOENT;
        return -1;
    }
    return [task processIdentifier];
}

NSDictionary *LocalizedInfoDictionaryOfBundle(NSString *bundlePath) {
    return [[NSBundle bundleWithPath:bundlePath] localizedInfoDictionary];
}

NSString *ResourcePathOfBundle(NSString *bundlePath) {
    return [[NSBundle bundleWithPath:bundlePath] resourcePath];
}

NSArray *LocalizationsOfBundle(NSString *bundlePath) {
    NSArray *localizations = [[NSBundle bundleWithPath:bundlePath] localizations];
    return localizations ? localizations : [NSArray array];
}

NSBundle *BundleWithIdentifierOrCode(NSString *identifier, const void *code) {
    NSBundle *bundle = identifier ? [NSBundle bundleWithIdentifier:identifier] : nil;
    Dl_info info;
    if (bundle || !code || dladdr(code, &info) == 0) {
        return bundle;
    }
    // X.bundle/Contents/MacOS/X
    NSString *folder = [NSString stringWithUTF8String:info.dli_fname];
    for (int level = 0; level < 3; ++level) {
        folder = [folder stringByDeletingLastPathComponent];
    }
    return [[folder pathExtension] length] > 0 ? [NSBundle bundleWithPath:folder] : nil;
}

const char *const *CryptoLibraryPaths() {
    static constexpr const char *unversioned[] = {"/usr/lib/libcrypto.dylib", nullptr};
    static constexpr const char *versioned[] = {"/usr/lib/libcrypto.46.dylib", "/usr/lib/libcrypto.44.dylib",
                                                "/usr/lib/libcrypto.42.dylib", "/usr/lib/libcrypto.35.dylib", nullptr};
    // From then on, opening the one without a version ends the process on purpose.
    const NSOperatingSystemVersion fatal = {10, 15, 0};
    return [[NSProcessInfo processInfo] isOperatingSystemAtLeastVersion:fatal] ? versioned : unversioned;
}
