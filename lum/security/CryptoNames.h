// The functions of libcrypto that the extension binds at run time, for a container that checks whether they are there.
// C: nothing of libcrypto or of the extension is needed.
#pragma once

// X(name) for every function, in the order in which they are looked up.
#define LUM_CRYPTO_FUNCTIONS(X)                                                                                        \
    X(SHA_Init)                                                                                                        \
    X(SHA1_Update)                                                                                                     \
    X(SHA1_Final)                                                                                                      \
    X(SHA256_Init)                                                                                                     \
    X(SHA256_Update)                                                                                                   \
    X(SHA256_Final)                                                                                                    \
    X(BIO_free)                                                                                                        \
    X(BIO_new)                                                                                                         \
    X(BIO_free_all)                                                                                                    \
    X(BIO_new_mem_buf)                                                                                                 \
    X(BIO_set_flags)                                                                                                   \
    X(BIO_f_base64)                                                                                                    \
    X(BIO_push)                                                                                                        \
    X(BIO_read)                                                                                                        \
    X(RSA_free)                                                                                                        \
    X(RSA_verify)                                                                                                      \
    X(AES_set_encrypt_key)                                                                                             \
    X(AES_cbc_encrypt)                                                                                                 \
    X(EVP_PKEY_free)                                                                                                   \
    X(EVP_PKEY_get1_RSA)                                                                                               \
    X(X509_free)                                                                                                       \
    X(X509_get_pubkey)                                                                                                 \
    X(PEM_read_bio_RSAPrivateKey)                                                                                      \
    X(d2i_X509)                                                                                                        \
    X(RSA_sign)
