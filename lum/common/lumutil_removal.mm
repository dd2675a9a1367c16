// Removal of a file or folder in up to three attempts: the file manager, the plain system calls, and finally a new
// name, so that the old name is free for what is installed next.
#include <stdio.h>
#include <unistd.h>

#import <Foundation/Foundation.h>

#include "base/FileStatus.h"
#include "lum/common/lumutil.h"
#import "base/objc/ScopedPool.h"

namespace {

bool RemoveWithFileManager(NSString *path) {
    try {
        return [[NSFileManager defaultManager] removeItemAtPath:path error:nullptr];
    } catch (...) { // thrown at "." and ".."
        return false;
    }
}

void RemoveWithSystemCall(const std::string &path) {
    if (isDir(path.c_str())) {
        rmdir(path.c_str());
    } else {
        unlink(path.c_str());
    }
}

NSString *HiddenSibling(NSString *path) {
    return [NSString stringWithFormat:@"%@/.%@.%d", [path stringByDeletingLastPathComponent], [path lastPathComponent],
                                      static_cast<int>(GetTickCount())];
}

void Rename(NSString *from, NSString *to) {
    rename([from UTF8String], [to UTF8String]);
}

// Gives the item another name and removes it there as far as it can be removed.
bool RemoveUnderNewName(NSString *path) {
    NSString *newName = HiddenSibling(path);
    if ([newName length] == 0) {
        MacErrorTrace("RemoveFile: combine new name failed!");
        return false;
    }
    RemoveWithFileManager(newName);
    Rename(path, newName);
    if (base::IsPresent([path UTF8String])) {
        newName = [path stringByAppendingString:@".deltmp"];
        Rename(path, newName);
    }
    RemoveWithFileManager(newName);
    if (base::IsPresent([path UTF8String])) {
        // Traced without the path, with the "%s" as it is: the line is known in this form.
        MacErrorTrace("%s", "RemoveFile: remove file[%s] again, still failed!");
        return false;
    }
    return true;
}

} // namespace

bool RemoveFile(const std::string &given) {
    if (given.empty()) {
        return true;
    }
    // With a "/" behind it a link's name means the folder that it leads to, which is not to be emptied.
    const std::string::size_type end = given.find_last_not_of('/');
    const std::string path = end == given.npos ? given : given.substr(0, end + 1);
    const base::ScopedPool pool;
    NSString *text = [NSString stringWithUTF8String:path.c_str()];
    if (!text || !base::IsPresent(isLink(path.c_str()) ? path.c_str() : given.c_str())) {
        return false;
    }
    if (RemoveWithFileManager(text)) {
        MacInfoTrace("RemoveFile: remove file[%s] success!", path.c_str());
        return true;
    }
    MacWarnTrace("RemoveFile: remove file[%s] failed!", path.c_str());
    RemoveWithSystemCall(path);
    if (!base::IsPresent(path.c_str())) {
        MacInfoTrace("RemoveFile: remove file[%s] success after using c func", path.c_str());
        return true;
    }
    return RemoveUnderNewName(text);
}
