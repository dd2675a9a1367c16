/* Core Foundation, as far as the extension uses it.
 *
 * Every object is an Objective-C object of Foundation's, so CFArrayRef and NSArray *, CFDataRef and NSData *,
 * CFStringRef and NSString *, CFURLRef and NSURL * are the same pointer and may be cast into one another.
 *
 * A function with "Create" or "Copy" in its name gives an object that the caller releases with CFRelease. */
#ifndef LUM_PLATFORM_LINUX_COREFOUNDATION_H
#define LUM_PLATFORM_LINUX_COREFOUNDATION_H

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef const void *CFTypeRef;
typedef const struct __CFAllocator *CFAllocatorRef;
typedef const struct __CFArray *CFArrayRef;
typedef const struct __CFData *CFDataRef;
typedef const struct __CFString *CFStringRef;
typedef const struct __CFURL *CFURLRef;
typedef struct __CFBundle *CFBundleRef;

typedef long CFIndex;
typedef UInt32 CFStringEncoding;

enum {
    kCFStringEncodingMacRoman = 0,
    kCFStringEncodingUTF8 = 0x08000100,
};

static const CFAllocatorRef kCFAllocatorDefault = 0;

/* `object` must not be null. */
CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);

struct FSRef;
/* A file URL for an existing or vanished file; null for a null or empty reference. `allocator` is ignored. */
CFURLRef CFURLCreateFromFSRef(CFAllocatorRef allocator, const struct FSRef *ref);

/* Null for text that is not of the encoding. `allocator` is ignored. */
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char *text, CFStringEncoding encoding);

/* The bundle in the folder at `url`, which must exist. Its code is not loaded yet. `allocator` is ignored. */
CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef url);
/* The exported function `name` of the bundle's code, which is loaded at the first call; null when the bundle has no
 * code, the code cannot be loaded or has no such function. The address stays valid when the bundle is released: code
 * may define classes, so it stays in the process. */
void *CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef name);

#ifdef __cplusplus
}
#endif

#endif
