#import "lum/platform/Session.h"

#import <Foundation/Foundation.h>

#include <dlfcn.h>
#include <errno.h>
#include <stdlib.h>

NSString *SessionHomeDirectory() {
    const char *home = getenv("HOME");
    return home && *home ? [NSString stringWithUTF8String:home] : NSHomeDirectory();
}

NSArray *UserApplicationSupportDirectories() {
    return NSSearchPathForDirectoriesInDomains(NSApplicationSupportDirectory, NSUserDomainMask, YES);
}

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
    static constexpr const char *paths[] = {"/usr/lib/libcrypto.dylib", nullptr};
    return paths;
}
