// For CryptoWrapper itself and its tests: an instance over other libraries than the system's. Such an instance is shared
// by storing it in g_sharedCryptoInstance.
#pragma once

#import "lum/security/CryptoWrapper.h"

@interface CryptoWrapper (Library)
// Opens the first of a null-terminated list of paths that can be opened.
- (id)initWithLibraryPaths:(const char *const *)paths;
@end
