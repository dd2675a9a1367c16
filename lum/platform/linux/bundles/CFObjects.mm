#import <Foundation/Foundation.h>

#include <CoreServices/CoreServices.h>

#include <cstring>

#include "lum/platform/linux/files/FSRef.h"
#include "base/objc/ScopedPool.h"

namespace {

bool FindEncoding(CFStringEncoding encoding, NSStringEncoding &found) {
    switch (encoding) {
    case kCFStringEncodingUTF8:
        found = NSUTF8StringEncoding;
        return true;
    case kCFStringEncodingMacRoman:
        found = NSMacOSRomanStringEncoding;
        return true;
    default:
        return false;
    }
}

} // namespace

CFTypeRef CFRetain(CFTypeRef object) {
    return [(id)object retain];
}

void CFRelease(CFTypeRef object) {
    [(id)object release];
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char *text, CFStringEncoding encoding) {
    NSStringEncoding found;
    if (!text || !FindEncoding(encoding, found)) {
        return nullptr;
    }
    return (CFStringRef)[[NSString alloc] initWithBytes:text length:std::strlen(text) encoding:found];
}

CFURLRef CFURLCreateFromFSRef(CFAllocatorRef, const FSRef *ref) {
    const base::ScopedPool pool;
    const std::string *path = PathOfRef(ref);
    NSString *text = path ? [NSString stringWithUTF8String:path->c_str()] : nil;
    return text ? (CFURLRef)[[NSURL alloc] initFileURLWithPath:text] : nullptr;
}
