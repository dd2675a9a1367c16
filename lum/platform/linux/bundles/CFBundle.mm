#import <Foundation/Foundation.h>

#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>

#import "lum/platform/linux/bundles/BundleLayout.h"
#import "base/objc/ScopedPool.h"

@interface LUMCodeBundle : NSObject {
    NSString *_path;
    void *myCode; // null until it is loaded
}
- (id)initWithPath:(NSString *)path;
- (void *)functionNamed:(NSString *)name;
@end

@implementation LUMCodeBundle

- (id)initWithPath:(NSString *)path {
    self = [super init];
    if (self) {
        _path = [path copy];
    }
    return self;
}

- (void)dealloc {
    if (myCode) {
        dlclose(myCode);
    }
    [_path release];
    [super dealloc];
}

- (void *)functionNamed:(NSString *)name {
    if (!myCode) {
        NSString *executable = ExecutableOfBundleFolder(_path);
        // The runtime cannot unlearn the classes that the code may define.
        myCode = executable ? dlopen([executable fileSystemRepresentation], RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE)
                            : nullptr;
    }
    return myCode ? dlsym(myCode, [name UTF8String]) : nullptr;
}

@end

CFBundleRef CFBundleCreate(CFAllocatorRef, CFURLRef url) {
    const base::ScopedPool pool;
    NSString *path = [(NSURL *)url path];
    BOOL isFolder = NO;
    if (!path || ![[NSFileManager defaultManager] fileExistsAtPath:path isDirectory:&isFolder] || !isFolder) {
        return nullptr;
    }
    return (CFBundleRef)[[LUMCodeBundle alloc] initWithPath:path];
}

void *CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef name) {
    const base::ScopedPool pool;
    return bundle && name ? [(LUMCodeBundle *)bundle functionNamed:(NSString *)name] : nullptr;
}
