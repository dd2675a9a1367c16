// A libcrypto like those in which BIO_set_flags is a macro, SHA_Init a function, and digest type 115 known. Its streams
// hand on the bytes they were made over when the flag for "no line breaks" is set, and nothing otherwise.
#include <stdlib.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

typedef struct Stream {
    void *method;
    void *callback;
    void *callbackArgument;
    int init;
    int shutdown;
    int flags;
    const char *bytes;
    int length;
    struct Stream *next;
} Stream;

static int method, key;

EXPORT int SHA_Init(void *context) {
    (void)context;
    return 70;
}

EXPORT void *BIO_f_base64(void) {
    return &method;
}

EXPORT Stream *BIO_new(void *kind) {
    Stream *stream = calloc(1, sizeof *stream);
    stream->method = kind;
    return stream;
}

EXPORT Stream *BIO_new_mem_buf(const char *bytes, int length) {
    Stream *stream = BIO_new(NULL);
    stream->bytes = bytes;
    stream->length = length;
    return stream;
}

EXPORT Stream *BIO_push(Stream *filter, Stream *memory) {
    filter->next = memory;
    return filter;
}

EXPORT int BIO_read(Stream *filter, char *out, int size) {
    Stream *memory = filter->next;
    if (filter->flags != 0x100) {
        return -1;
    }
    const int count = memory->length < size ? memory->length : size;
    memcpy(out, memory->bytes, (size_t)count);
    memory->bytes += count;
    memory->length -= count;
    return count;
}

EXPORT int BIO_free(Stream *stream) {
    free(stream);
    return 1;
}

EXPORT void BIO_free_all(Stream *filter) {
    BIO_free(filter->next);
    BIO_free(filter);
}

EXPORT void *d2i_RSAPublicKey(void **out, const unsigned char **der, long length) {
    (void)out;
    (void)der;
    (void)length;
    return &key;
}

EXPORT void RSA_free(void *rsa) {
    (void)rsa;
}

EXPORT int RSA_size(const void *rsa) {
    (void)rsa;
    return 64;
}

EXPORT int RSA_public_decrypt(void) {
    return -1;
}

EXPORT int RSA_private_encrypt(void) {
    return -1;
}

EXPORT int RSA_verify(int type) {
    return type == 115;
}

EXPORT int RSA_sign(int type) {
    return type == 115;
}
