// For CryptoWrapper itself and its tests: an instance over other libraries than the system's, or over a part of one.
// Such an instance is shared by storing it in g_sharedCryptoInstance.
#pragma once

#import "lum/security/CryptoWrapper.h"

// As dlsym: the address of this name in the library, or null.
typedef void *(*CryptoLookUp)(void *library, const char *name);

@interface CryptoWrapper (Library)
// Opens the first of a null-terminated list of paths that can be opened.
- (id)initWithLibraryPaths:(const char *const *)paths lookUp:(CryptoLookUp)lookUp;
@end
