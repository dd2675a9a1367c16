#import "lum/platform/Session.h"

#import <Foundation/Foundation.h>

#include <dlfcn.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "lum/platform/linux/bundles/BundleLayout.h"
#include "lum/platform/linux/bundles/Localization.h"
#include "lum/platform/linux/session/CryptoLibraries.h"
#include "lum/platform/ObjcEach.h"

namespace {

// What the target gives every application by other means: the way to the window server and the message bus, the user,
// the language, the input method, and the folder where the notification server is found.
constexpr std::string_view kSessionVariables[] = {"DISPLAY",     "WAYLAND_DISPLAY",
                                                  "XAUTHORITY",  "DBUS_SESSION_BUS_ADDRESS",
                                                  "HOME",        "USER",
                                                  "LOGNAME",     "SHELL",
                                                  "PATH",        "LANG",
                                                  "LANGUAGE",    "TMP",
                                                  "TEMP",        "TMPDIR",
                                                  "XMODIFIERS",  "GTK_IM_MODULE",
                                                  "QT_IM_MODULE"};
constexpr std::string_view kSessionPrefixes[] = {"LC_", "XDG_"};

bool BelongsToSession(std::string_view variable) {
    return std::ranges::find(kSessionVariables, variable) != std::end(kSessionVariables) ||
           std::ranges::any_of(kSessionPrefixes, [=](std::string_view prefix) { return variable.starts_with(prefix); });
}

NSString *FileSystemText(const char *path) {
    return [[NSFileManager defaultManager] stringWithFileSystemRepresentation:path length:strlen(path)];
}

NSString *PathOfCode(const void *code) {
    Dl_info info;
    if (!code || dladdr(code, &info) == 0 || !info.dli_fname) {
        return nil;
    }
    char *absolute = realpath(info.dli_fname, nullptr);
    NSString *path = absolute ? FileSystemText(absolute) : nil;
    free(absolute);
    return path;
}

} // namespace

// GNUstep's task answers the whole environment of its own process until it is given another.
NSDictionary *EnvironmentOfNewTask(NSTask *) {
    NSMutableDictionary *variables = [NSMutableDictionary dictionary];
    for (char **entry = environ; entry && *entry; ++entry) {
        const std::string_view variable(*entry);
        const std::size_t equals = variable.find('=');
        if (equals == variable.npos || !BelongsToSession(variable.substr(0, equals))) {
            continue;
        }
        if (NSString *value = [NSString stringWithUTF8String:*entry + equals + 1]) {
            [variables setObject:value forKey:[NSString stringWithUTF8String:std::string(variable, 0, equals).c_str()]];
        }
    }
    return variables;
}

NSString *ResourcePathOfBundle(NSString *bundlePath) {
    return ResourceFolderOfBundleFolder(bundlePath);
}

NSArray *LocalizationsOfBundle(NSString *bundlePath) {
    NSMutableArray *localizations = [NSMutableArray array];
    NSString *resources = ResourcePathOfBundle(bundlePath);
    NSArray *names =
        resources ? [[NSFileManager defaultManager] contentsOfDirectoryAtPath:resources error:nullptr] : nil;
    for (NSString *name : Each<NSString *>([names sortedArrayUsingSelector:@selector(compare:)])) {
        if ([[name pathExtension] isEqualToString:@"lproj"]) {
            [localizations addObject:[name stringByDeletingPathExtension]];
        }
    }
    return localizations;
}

NSDictionary *LocalizedInfoDictionaryOfBundle(NSString *bundlePath) {
    NSDictionary *info = InfoDictionaryOfBundleFolder(bundlePath);
    if (!info) {
        return nil;
    }
    NSString *localization =
        PreferredLocalization(LocalizationsOfBundle(bundlePath), [info objectForKey:@"CFBundleDevelopmentRegion"]);
    if (!localization) {
        return info;
    }
    NSString *strings =
        [NSString stringWithFormat:@"%@/%@.lproj/InfoPlist.strings", ResourcePathOfBundle(bundlePath), localization];
    NSMutableDictionary *localized = [NSMutableDictionary dictionaryWithDictionary:info];
    [localized addEntriesFromDictionary:DictionaryInFile(strings)];
    return localized;
}

NSBundle *BundleWithIdentifierOrCode(NSString *identifier, const void *code) {
    NSBundle *bundle = identifier ? [NSBundle bundleWithIdentifier:identifier] : nil;
    if (bundle) {
        return bundle;
    }
    NSString *path = PathOfCode(code);
    NSString *folder = path ? BundleFolderOfExecutable(path) : nil;
    return folder ? [NSBundle bundleWithPath:folder] : nil;
}

const char *const *CryptoLibraryPaths() {
    static constexpr const char *paths[] = {LUM_CRYPTO_LIBRARIES, nullptr};
    return paths;
}
