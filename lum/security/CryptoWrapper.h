// libcrypto, opened at run time and bound symbol by symbol, and the text decoders.
//
// The extension links no cryptographic library. The first +sharedInstance opens the first of CryptoLibraryPaths()
// (lum/platform/Session.h) that can be opened and looks up the functions of the table below; +destorySharedInstance
// closes it again. An accessor answers the function's address, or null when the library has no such function or could
// not be opened, which is not reported: the caller of an accessor decides what its absence means. An address is good
// until the instance is released, and never changes before.
//
// Three functions need more than their symbol:
// - SHA_Init: SHA1_Init, which sets the same state, serves when a library no longer has the name.
// - RSA_sign, RSA_verify: where the library refuses digest type 115 (sha1WithRSA), the accessors answer functions of
//   the same signature that do this type with the library's raw RSA operation and hand every other type on. Signatures
//   are the same bytes either way. These functions work through the shared instance.
//
// Main thread only: there is no lock. Can be included from plain C++, which finds the plain decoders in
// lum/security/Decoders.h.
#pragma once

#include <openssl/aes.h>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/sha.h>
#include <openssl/x509.h>

#include "lum/security/CryptoNames.h"
#include "lum/security/Sha1WithRsa.h"

// NOLINTBEGIN(readability-identifier-naming): the names are the interface's own

// The byte that two hexadecimal digits encode. Reads as strtol does, base 16, and keeps the low 8 bits: an invalid
// character ends the number early ('1','G' is 1; 'G','1' is 0).
unsigned char strToChar(char high, char low);

#ifdef __OBJC__

#import <Foundation/NSData.h>
#import <Foundation/NSObject.h>
#import <Foundation/NSString.h>

// Lum_RSA_sign is the type of a pointer to RSA_sign, and so on: the library's own declarations, so the compiler holds
// the table against them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
typedef int (*Lum_SHA_Init)(SHA_CTX *);
typedef decltype(&SHA1_Update) Lum_SHA1_Update;
typedef decltype(&SHA1_Final) Lum_SHA1_Final;
typedef decltype(&SHA256_Init) Lum_SHA256_Init;
typedef decltype(&SHA256_Update) Lum_SHA256_Update;
typedef decltype(&SHA256_Final) Lum_SHA256_Final;
typedef decltype(&BIO_free) Lum_BIO_free;
typedef decltype(&BIO_new) Lum_BIO_new;
typedef decltype(&BIO_free_all) Lum_BIO_free_all;
typedef decltype(&BIO_new_mem_buf) Lum_BIO_new_mem_buf;
typedef decltype(&BIO_set_flags) Lum_BIO_set_flags;
typedef decltype(&BIO_f_base64) Lum_BIO_f_base64;
typedef decltype(&BIO_push) Lum_BIO_push;
typedef decltype(&BIO_read) Lum_BIO_read;
typedef decltype(&RSA_free) Lum_RSA_free;
typedef decltype(&RSA_verify) Lum_RSA_verify;
typedef decltype(&AES_set_encrypt_key) Lum_AES_set_encrypt_key;
typedef decltype(&AES_cbc_encrypt) Lum_AES_cbc_encrypt;
typedef decltype(&EVP_PKEY_free) Lum_EVP_PKEY_free;
typedef decltype(&EVP_PKEY_get1_RSA) Lum_EVP_PKEY_get1_RSA;
typedef decltype(&X509_free) Lum_X509_free;
typedef decltype(&X509_get_pubkey) Lum_X509_get_pubkey;
typedef decltype(&PEM_read_bio_RSAPrivateKey) Lum_PEM_read_bio_RSAPrivateKey;
typedef decltype(&d2i_X509) Lum_d2i_X509;
typedef decltype(&RSA_sign) Lum_RSA_sign;
#pragma GCC diagnostic pop

@class CryptoWrapper;
// The shared instance, or nil.
extern CryptoWrapper *g_sharedCryptoInstance;

@interface CryptoWrapper : NSObject {
    void *myDllInstance;
    Lum_SHA_Init mySHA_Init;
    Lum_SHA1_Update mySHA1_Update;
    Lum_SHA1_Final mySHA1_Final;
    Lum_SHA256_Init mySHA256_Init;
    Lum_SHA256_Update mySHA256_Update;
    Lum_SHA256_Final mySHA256_Final;
    Lum_BIO_free myBIO_free;
    Lum_BIO_new myBIO_new;
    Lum_BIO_free_all myBIO_free_all;
    Lum_BIO_new_mem_buf myBIO_new_mem_buf;
    Lum_BIO_set_flags myBIO_set_flags;
    Lum_BIO_f_base64 myBIO_f_base64;
    Lum_BIO_push myBIO_push;
    Lum_BIO_read myBIO_read;
    Lum_RSA_free myRSA_free;
    Lum_RSA_verify myRSA_verify;
    Lum_AES_set_encrypt_key myAES_set_encrypt_key;
    Lum_AES_cbc_encrypt myAES_cbc_encrypt;
    Lum_EVP_PKEY_free myEVP_PKEY_free;
    Lum_EVP_PKEY_get1_RSA myEVP_PKEY_get1_RSA;
    Lum_X509_free myX509_free;
    Lum_X509_get_pubkey myX509_get_pubkey;
    Lum_PEM_read_bio_RSAPrivateKey myPEM_read_bio_RSAPrivateKey;
    Lum_d2i_X509 myd2i_X509;
    Lum_RSA_sign myRSA_sign;
@public
    // What the two functions for digest type 115 use.
    RawRsa myRawRsa;
    Lum_RSA_verify myLibraryRSA_verify;
    Lum_RSA_sign myLibraryRSA_sign;
}

// The shared instance, made at the first call. Not the caller's to release; nil only without memory.
+ (CryptoWrapper *)sharedInstance;
// Releases the shared instance and with it the library; the next +sharedInstance opens it again. Addresses that
// its accessors have returned are invalid then.
+ (void)destorySharedInstance;

// One accessor per function, named like it: -SHA_Init, -RSA_verify, ...
#define LUM_CRYPTO_ACCESSOR(name) -(Lum_##name)name;
LUM_CRYPTO_FUNCTIONS(LUM_CRYPTO_ACCESSOR)
#undef LUM_CRYPTO_ACCESSOR

@end

@interface NSString (Base64Decode)
// The bytes that this base64 text encodes, autoreleased; never nil. The text is expected on one line; what cannot be
// decoded ends it, so a damaged text gives the bytes before the damage, or none. As many bytes of the text's UTF-8 are
// read as it has characters. Empty without libcrypto.
- (NSMutableData *)base64Decode;
@end

@interface NSString (HEXConvertSupport)
// The bytes that the pairs of hexadecimal digits encode (each as strToChar), autoreleased; never nil. An odd last
// digit is left out; a NUL character ends the text.
- (NSData *)decodeFromHexidecimal;
@end

#endif // __OBJC__

// NOLINTEND(readability-identifier-naming)
