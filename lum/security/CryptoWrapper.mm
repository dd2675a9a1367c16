#import "lum/security/CryptoWrapper.h"

#include <dlfcn.h>

#import "lum/platform/Session.h"
#import "lum/security/CryptoWrapperLibrary.h"

CryptoWrapper *g_sharedCryptoInstance = nil;

namespace {

struct Library {
    void *handle;
    CryptoLookUp lookUp;

    template <typename Function> void Bind(Function &slot, const char *name) const {
        slot = reinterpret_cast<Function>(lookUp(handle, name));
    }
};

void *OpenFirst(const char *const *paths) {
    for (; *paths; ++paths) {
        if (void *library = dlopen(*paths, RTLD_NOW)) {
            return library;
        }
    }
    return nullptr;
}

RawRsa BindRawRsa(const Library &library) {
    RawRsa raw;
    library.Bind(raw.size, "RSA_size");
    library.Bind(raw.publicDecrypt, "RSA_public_decrypt");
    library.Bind(raw.privateEncrypt, "RSA_private_encrypt");
    return raw;
}

int VerifyAnyType(int type, const unsigned char *text, unsigned int textLength, const unsigned char *signature,
                  unsigned int signatureLength, RSA *key) {
    CryptoWrapper *crypto = [CryptoWrapper sharedInstance];
    if (type != kSha1WithRsa) {
        return crypto->myLibraryRSA_verify(type, text, textLength, signature, signatureLength, key);
    }
    return VerifySha1WithRsa(crypto->myRawRsa, {text, textLength}, {signature, signatureLength}, key);
}

int SignAnyType(int type, const unsigned char *text, unsigned int textLength, unsigned char *signature,
                unsigned int *signatureLength, RSA *key) {
    CryptoWrapper *crypto = [CryptoWrapper sharedInstance];
    if (type != kSha1WithRsa) {
        return crypto->myLibraryRSA_sign(type, text, textLength, signature, signatureLength, key);
    }
    return SignSha1WithRsa(crypto->myRawRsa, {text, textLength}, signature, signatureLength, key);
}

} // namespace

@interface CryptoWrapper ()
- (BOOL)refusesSha1WithRsa:(const Library &)library;
- (void)doSha1WithRsaByRawOperationOf:(const Library &)library;
@end

@implementation CryptoWrapper

+ (CryptoWrapper *)sharedInstance {
    if (!g_sharedCryptoInstance) {
        g_sharedCryptoInstance = [[CryptoWrapper alloc] init];
    }
    return g_sharedCryptoInstance;
}

+ (void)destorySharedInstance {
    [g_sharedCryptoInstance release];
    g_sharedCryptoInstance = nil;
}

- (id)init {
    return [self initWithLibraryPaths:CryptoLibraryPaths() lookUp:dlsym];
}

- (id)initWithLibraryPaths:(const char *const *)paths lookUp:(CryptoLookUp)lookUp {
    self = [super init];
    if (!self) {
        return nil;
    }
    myDllInstance = OpenFirst(paths);
    if (!myDllInstance) {
        return self;
    }
    const Library library = {myDllInstance, lookUp};
#define LUM_BIND(name) library.Bind(my##name, #name);
    LUM_CRYPTO_FUNCTIONS(LUM_BIND)
#undef LUM_BIND
    if (!mySHA_Init) {
        library.Bind(mySHA_Init, "SHA1_Init");
    }
    if ([self refusesSha1WithRsa:library]) {
        [self doSha1WithRsaByRawOperationOf:library];
    }
    return self;
}

- (void)dealloc {
    if (myDllInstance) {
        dlclose(myDllInstance);
    }
    [super dealloc];
}

// By a signature that is known to be good. A library that cannot be asked keeps its own functions.
- (BOOL)refusesSha1WithRsa:(const Library &)library {
    RSA *(*readKey)(RSA **, const unsigned char **, long);
    library.Bind(readKey, "d2i_RSAPublicKey");
    if (!readKey || !myRSA_verify || !myRSA_free) {
        return NO;
    }
    const unsigned char *der = kProbeKey.data();
    RSA *key = readKey(nullptr, &der, static_cast<long>(kProbeKey.size()));
    if (!key) {
        return NO;
    }
    const int known = myRSA_verify(kSha1WithRsa, kProbeText.data(), static_cast<unsigned int>(kProbeText.size()),
                                   kProbeSignature.data(), static_cast<unsigned int>(kProbeSignature.size()), key);
    myRSA_free(key);
    return known != 1;
}

- (void)doSha1WithRsaByRawOperationOf:(const Library &)library {
    myRawRsa = BindRawRsa(library);
    if (!myRawRsa.IsWhole()) {
        return;
    }
    myLibraryRSA_verify = myRSA_verify;
    myLibraryRSA_sign = myRSA_sign;
    myRSA_verify = VerifyAnyType; // the library has this one, or it could not have been asked
    if (myRSA_sign) {
        myRSA_sign = SignAnyType;
    }
}

#define LUM_CRYPTO_ACCESSOR(name)                                                                                      \
    -(Lum_##name)name {                                                                                                \
        return my##name;                                                                                               \
    }
LUM_CRYPTO_FUNCTIONS(LUM_CRYPTO_ACCESSOR)
#undef LUM_CRYPTO_ACCESSOR

@end
