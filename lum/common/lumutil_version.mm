// The version of a component: of a library from its file name, of a bundle or folder from its property list.
#include <algorithm>
#include <optional>
#include <string_view>

#import <Foundation/Foundation.h>

#include "base/Ascii.h"
#include "lum/common/Assertion.h"
#include "base/FileStatus.h"
#include "lum/common/lumutil.h"
#include "lum/common/versionfordylib.h"
#import "base/objc/ScopedPool.h"

namespace {

constexpr SourceUnit kSource("lum/common/lumutil");
constexpr std::size_t kMaximumVersion = 255;

bool Contains(std::string_view text, std::string_view part) {
    return text.find(part) != text.npos;
}

std::string_view LastComponent(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.remove_suffix(1);
    }
    return path.substr(path.rfind('/') + 1);
}

std::string_view WithoutExtension(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    return dot == name.npos || dot == 0 ? name : name.substr(0, dot);
}

// The code that a folder of this name has to hold; empty for a plain folder.
std::string ExecutableOf(const std::string &path) {
    const std::string_view name = LastComponent(path);
    const std::string base(WithoutExtension(name));
    if (Contains(name, ".framework")) {
        return path + "/Versions/A/" + base;
    }
    if (Contains(name, ".app") || Contains(name, ".bundle")) {
        return path + "/Contents/MacOS/" + base;
    }
    return {};
}

// The whole path decides here, not the name alone: what lies inside a framework is read as the framework.
std::string PropertyListOf(const std::string &path) {
    return path + (Contains(path, ".framework") ? "/Versions/A/Resources/Info.plist" : "/Contents/Info.plist");
}

NSString *TextOfPath(const std::string &path) {
    for (const NSStringEncoding encoding : {NSUTF8StringEncoding, NSMacOSRomanStringEncoding}) {
        NSString *text = [[NSString alloc] initWithBytes:path.data() length:path.size() encoding:encoding];
        if (text) {
            return [text autorelease];
        }
    }
    return nil;
}

NSDictionary *ReadPropertyList(NSURL *url) {
    try {
        NSData *data = [NSData dataWithContentsOfURL:url];
        id list = data ? [NSPropertyListSerialization propertyListWithData:data
                                                                   options:NSPropertyListImmutable
                                                                    format:nullptr
                                                                     error:nullptr]
                       : nil;
        return [list isKindOfClass:[NSDictionary class]] ? list : nil;
    } catch (...) { // the parser throws at some damaged lists
        return nil;
    }
}

std::optional<std::string> ShortText(id value) {
    if (![value isKindOfClass:[NSString class]]) {
        return std::nullopt;
    }
    for (const NSStringEncoding encoding : {NSUTF8StringEncoding, NSMacOSRomanStringEncoding}) {
        NSData *bytes = [value dataUsingEncoding:encoding];
        if (bytes && [bytes length] <= kMaximumVersion) {
            return std::string(static_cast<const char *>([bytes bytes]), [bytes length]);
        }
    }
    return std::nullopt;
}

void VersionOfPropertyList(NSURL *url, char *dest) {
    NSDictionary *list = ReadPropertyList(url);
    if (!list) {
        MacInfoTrace("GetFileVersionString(...) createDictionary failed");
        return;
    }
    std::optional<std::string> version = ShortText([list objectForKey:@"CFBundleVersion"]);
    if (!version) {
        MacInfoTrace("GetFileVersionString(...) get CFBundleVersion failed");
        return;
    }
    std::replace(version->begin(), version->end(), '.', ',');
    // Not bounded by the size that the caller names: callers have room for the longest version.
    base::CopyBounded(dest, kMaximumVersion + 1, *version);
    MacInfoTrace("GetFileVersionString(...) version = %s", dest);
}

bool VersionOfFile(const std::string &path, char *dest, int size) {
    std::string version;
    if (GetVersionFromDylib(path, version, nullptr)) {
        MacInfoTrace("GetFileVersionString,%s version is %s", path.c_str(), version.c_str());
        base::CopyBounded(dest, static_cast<std::size_t>(std::max(size, 0)), version);
    }
    return *dest != '\0';
}

bool VersionOfFolder(const std::string &path, char *dest) {
    MacInfoTrace("GetFileVersionString, path = %s is a Folder", path.c_str());
    const std::string executable = ExecutableOf(path);
    if (!executable.empty()) {
        MacInfoTrace("GetFileVersionString for path, exec file = %s", executable.c_str());
        if (!base::Resolves(executable.c_str())) {
            MacWarnTrace("GetFileVersionString for path = %s, execfile not exist", path.c_str());
            return false;
        }
    }
    const std::string propertyList = PropertyListOf(path);
    MacInfoTrace("GetFileVersionString(...) info.plist's strPath = %s", propertyList.c_str());
    NSString *text = TextOfPath(propertyList);
    if (!text) {
        MacInfoTrace("GetFileVersionString(...) create strPath to CFStringRef failed");
        return false;
    }
    if (NSURL *url = [NSURL fileURLWithPath:text]) {
        VersionOfPropertyList(url, dest);
    }
    return true; // says only that there was a path to look at; callers look at `dest`
}

} // namespace

bool GetFileVersionString(char *path, char *dest, int size) {
    if (!AssertionHolds(path && dest, "0", kSource)) {
        return false;
    }
    const base::ScopedPool pool;
    *dest = '\0';
    if (!base::IsPresent(path)) {
        MacWarnTrace("GetFileVersionString, file(%s) not exist", path);
        return false;
    }
    return isDir(path) ? VersionOfFolder(path, dest) : VersionOfFile(path, dest, size);
}
