#import "lum/platform/linux/bundles/BundleLayout.h"

#import <Foundation/Foundation.h>

#include <initializer_list>

#include "lum/platform/CatchObjcException.h"

namespace {

NSString *const kContents = @"Contents";

bool IsFolder(NSString *path) {
    BOOL isFolder = NO;
    return [[NSFileManager defaultManager] fileExistsAtPath:path isDirectory:&isFolder] && isFolder;
}

bool IsFile(NSString *path) {
    BOOL isFolder = NO;
    return [[NSFileManager defaultManager] fileExistsAtPath:path isDirectory:&isFolder] && !isFolder;
}

NSString *InfoFileOfBundleFolder(NSString *bundlePath) {
    for (NSString *place : {@"Contents/Info.plist", @"Resources/Info-gnustep.plist"}) {
        NSString *path = [bundlePath stringByAppendingPathComponent:place];
        if (IsFile(path)) {
            return path;
        }
    }
    return nil;
}

NSString *CodeFolderOfBundleFolder(NSString *bundlePath) {
    NSString *contents = [bundlePath stringByAppendingPathComponent:kContents];
    return IsFolder(contents) ? [contents stringByAppendingPathComponent:@"MacOS"] : bundlePath;
}

// UTF-16 announces itself by its first two bytes.
NSString *TextOf(NSData *data) {
    const auto *bytes = static_cast<const unsigned char *>([data bytes]);
    const bool isUTF16 =
        [data length] >= 2 && ((bytes[0] == 0xFE && bytes[1] == 0xFF) || (bytes[0] == 0xFF && bytes[1] == 0xFE));
    return [[[NSString alloc] initWithData:data
                                  encoding:isUTF16 ? NSUnicodeStringEncoding : NSUTF8StringEncoding] autorelease];
}

struct Parsing {
    NSData *data;
    id result;
};

void ParsePropertyList(void *context) {
    auto &parsing = *static_cast<Parsing *>(context);
    parsing.result = [NSPropertyListSerialization propertyListWithData:parsing.data
                                                               options:NSPropertyListImmutable
                                                                format:nullptr
                                                                 error:nullptr];
}

void ParseStrings(void *context) {
    auto &parsing = *static_cast<Parsing *>(context);
    parsing.result = [TextOf(parsing.data) propertyListFromStringsFileFormat];
}

// Parsers throw some of what they do not understand.
NSDictionary *Parse(NSData *data, void (*parser)(void *)) {
    Parsing parsing{data, nil};
    if (CatchObjCException(parser, &parsing) || ![parsing.result isKindOfClass:[NSDictionary class]]) {
        return nil;
    }
    return parsing.result;
}

} // namespace

NSDictionary *DictionaryInFile(NSString *path) {
    NSData *data = [NSData dataWithContentsOfFile:path];
    NSDictionary *dictionary = data ? Parse(data, ParsePropertyList) : nil;
    return dictionary || !data ? dictionary : Parse(data, ParseStrings);
}

NSDictionary *InfoDictionaryOfBundleFolder(NSString *bundlePath) {
    NSString *path = InfoFileOfBundleFolder(bundlePath);
    return path ? DictionaryInFile(path) : nil;
}

NSString *ResourceFolderOfBundleFolder(NSString *bundlePath) {
    for (NSString *place : {@"Contents/Resources", @"Resources"}) {
        NSString *path = [bundlePath stringByAppendingPathComponent:place];
        if (IsFolder(path)) {
            return path;
        }
    }
    return nil;
}

NSString *ExecutableOfBundleFolder(NSString *bundlePath) {
    NSDictionary *info = InfoDictionaryOfBundleFolder(bundlePath);
    NSString *folder = CodeFolderOfBundleFolder(bundlePath);
    id own = [[bundlePath lastPathComponent] stringByDeletingPathExtension];
    for (id name : {[info objectForKey:@"CFBundleExecutable"], [info objectForKey:@"NSExecutable"], own}) {
        if (![name isKindOfClass:[NSString class]] || [name length] == 0) {
            continue;
        }
        NSString *path = [folder stringByAppendingPathComponent:name];
        if (IsFile(path)) {
            return path;
        }
    }
    return nil;
}

NSString *BundleFolderOfExecutable(NSString *executablePath) {
    NSString *folder = [executablePath stringByDeletingLastPathComponent];
    NSString *contents = [folder stringByDeletingLastPathComponent];
    if ([[contents lastPathComponent] isEqualToString:kContents]) {
        folder = [contents stringByDeletingLastPathComponent];
    }
    return [ExecutableOfBundleFolder(folder) isEqualToString:executablePath] ? folder : nil;
}
