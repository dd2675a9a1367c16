#include <Carbon/Carbon.h>

#include "lum/common/lumutil.h"

CFBundleRef LoadLibrary(const std::string &path) {
    FSRef ref = {};
    if (path.empty() || FSPathMakeRef(reinterpret_cast<const UInt8 *>(path.c_str()), &ref, nullptr) != noErr) {
        return nullptr;
    }
    CFURLRef url = CFURLCreateFromFSRef(kCFAllocatorDefault, &ref);
    if (!url) {
        return nullptr;
    }
    CFBundleRef bundle = CFBundleCreate(kCFAllocatorDefault, url);
    CFRelease(url);
    return bundle; // NOLINT(clang-analyzer-osx.cocoa.RetainCount): FreeLibrary releases it
}

void *GetFunctionPointer(CFBundleRef bundle, const char *name) {
    if (!bundle || !name) {
        return nullptr;
    }
    CFStringRef text = CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8);
    if (!text) {
        return nullptr;
    }
    void *function = CFBundleGetFunctionPointerForName(bundle, text);
    CFRelease(text);
    return function;
}

int FreeLibrary(CFBundleRef bundle) {
    if (bundle) {
        CFRelease(bundle);
    }
    return 1;
}
