// An instance over a library of the test's choice, shared while the object lives.
#pragma once

#include <dlfcn.h>

#include <string_view>

#import "lum/security/CryptoWrapperLibrary.h"

class SharedCrypto {
public:
    // `hidden`: a name that the library is not to have.
    explicit SharedCrypto(const char *library, std::string_view hidden = "") {
        const char *const paths[] = {library, nullptr};
        s_hidden = hidden;
        [CryptoWrapper destorySharedInstance];
        g_sharedCryptoInstance = [[CryptoWrapper alloc] initWithLibraryPaths:paths lookUp:LookUp];
    }
    ~SharedCrypto() {
        [CryptoWrapper destorySharedInstance];
    }
    SharedCrypto(const SharedCrypto &) = delete;
    SharedCrypto &operator=(const SharedCrypto &) = delete;

    CryptoWrapper *operator()() const {
        return g_sharedCryptoInstance;
    }

private:
    static void *LookUp(void *library, const char *name) {
        return s_hidden == name ? nullptr : dlsym(library, name);
    }

    static inline std::string_view s_hidden;
};
