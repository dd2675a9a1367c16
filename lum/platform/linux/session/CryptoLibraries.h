// The libcrypto that CryptoLibraryPaths names, newest first, for a container that checks whether one is there. C.
#pragma once

#define LUM_CRYPTO_LIBRARIES "libcrypto.so.3", "libcrypto.so.1.1"
