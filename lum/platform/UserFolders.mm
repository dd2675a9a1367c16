// The same on all systems: Foundation takes the home from the password database whatever HOME says.
#import "lum/platform/Session.h"

#import <Foundation/Foundation.h>

#include "base/UserFolders.h"
#include "lum/platform/ObjcEach.h"

NSArray *UserApplicationSupportDirectories() {
    NSMutableArray *folders = [NSMutableArray array];
    NSArray *found = NSSearchPathForDirectoriesInDomains(NSApplicationSupportDirectory, NSUserDomainMask, YES);
    for (NSString *folder : Each<NSString *>(found)) {
        const std::string moved =
            base::MovedToHome([folder fileSystemRepresentation], [NSHomeDirectory() fileSystemRepresentation]);
        [folders addObject:[[NSFileManager defaultManager] stringWithFileSystemRepresentation:moved.c_str()
                                                                                       length:moved.size()]];
    }
    return folders;
}
