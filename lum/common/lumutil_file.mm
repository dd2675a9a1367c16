#include <sys/stat.h>

#import <Foundation/Foundation.h>

#include "lum/common/Assertion.h"
#include "base/FileStatus.h"
#include "lum/common/lumutil.h"
#include "lum/common/versionfordylib.h"
#import "base/objc/ScopedPool.h"
#include "lum/platform/Session.h"

namespace {

constexpr SourceUnit kSource("lum/common/lumutil");
constexpr unsigned int kTempFileNames = 10000;

// The path as UTF-8; empty, with the assertion that applies, when there is none.
std::string PathText(NSString *path) {
    if (!AssertionHolds(path != nil, "path", kSource)) {
        return {};
    }
    const char *text = [path UTF8String];
    return AssertionHolds(text != nullptr, "[path UTF8String]", kSource) ? text : "";
}

bool HasType(const char *path, mode_t type) {
    struct stat status {};
    return AssertionHolds(path != nullptr, "path", kSource) && lstat(path, &status) == 0 &&
           (status.st_mode & S_IFMT) == type;
}

std::string NumberedName(const std::string &folder, const std::string &prefix, unsigned int number) {
    return folder + prefix + std::to_string(number) + ".tmp";
}

} // namespace

std::string GetTempPath() {
    const base::ScopedPool pool;
    return PathText(NSTemporaryDirectory());
}

std::string GetApplicationSupportDirectory() {
    const base::ScopedPool pool;
    NSArray *paths = UserApplicationSupportDirectories();
    if (!AssertionHolds(paths != nil, "paths !=nil", kSource) ||
        !AssertionHolds([paths count] == 1, "[paths count] == 1", kSource)) {
        return {};
    }
    return PathText([paths objectAtIndex:0]);
}

bool MakeDirectory(const char *path) {
    return path && mkdir(path, 0775) == 0;
}

bool FileExists(const std::string &path) {
    if (path.empty() || !base::Resolves(path.c_str())) {
        return false;
    }
    return path.find(".dylib") == std::string::npos || IsDylibFileExists(path.c_str(), 1);
}

bool isDir(const char *path) {
    return HasType(path, S_IFDIR);
}

bool isLink(const char *path) {
    return HasType(path, S_IFLNK);
}

unsigned int GetTempFileName(const std::string &folder, const std::string &prefix, std::string &out) {
    // Not advanced by a success: until the caller makes the file, the next call gives the same name. FileExists renews
    // or removes links for a path with ".dylib" in it, and says no then; callers bring prefixes without that.
    static unsigned int counter = 1;
    for (out = NumberedName(folder, prefix, counter); FileExists(out); out = NumberedName(folder, prefix, counter)) {
        if (++counter == kTempFileNames) {
            counter = 1; // left at the end, the next call would give a number that is none of these
            return 0;
        }
    }
    return counter;
}
