#include "lum/security/Decoders.h"

#include <climits>
#include <cstdlib>

#import "lum/security/CryptoWrapper.h"

namespace {

constexpr int kChunkSize = 1024;

// The head of a stream in the library versions that export no BIO_set_flags: there it is a macro over this record.
struct StreamOfOldLibrary {
    void *method;
    void *callback;
    void *callbackArgument;
    int init;
    int shutdown;
    int flags;
};

void ExpectNoLineBreaks(CryptoWrapper *crypto, BIO *filter) {
    if ([crypto BIO_set_flags]) {
        [crypto BIO_set_flags](filter, BIO_FLAGS_BASE64_NO_NL);
        return;
    }
    reinterpret_cast<StreamOfOldLibrary *>(filter)->flags |= BIO_FLAGS_BASE64_NO_NL;
}

bool CanDecodeBase64(CryptoWrapper *crypto) {
    return [crypto BIO_new_mem_buf] && [crypto BIO_new] && [crypto BIO_f_base64] && [crypto BIO_push] &&
           [crypto BIO_read] && [crypto BIO_free_all];
}

// A base64 filter over the text's bytes, which must outlive it; null when there is no memory.
BIO *NewDecodingChain(CryptoWrapper *crypto, std::string_view text) {
    BIO *memory = [crypto BIO_new_mem_buf](text.data(), static_cast<int>(text.size()));
    if (!memory) {
        return nullptr;
    }
    BIO *filter = [crypto BIO_new]([crypto BIO_f_base64]());
    if (!filter) {
        [crypto BIO_free_all](memory);
        return nullptr;
    }
    ExpectNoLineBreaks(crypto, filter);
    return [crypto BIO_push](filter, memory);
}

std::string_view UpToNul(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

std::string_view Characters(NSData *data) {
    return {static_cast<const char *>([data bytes]), [data length]};
}

} // namespace

unsigned char strToChar(char high, char low) {
    const char digits[] = {high, low, '\0'};
    return static_cast<unsigned char>(strtol(digits, nullptr, 16));
}

std::string DecodeBase64(std::string_view text) {
    CryptoWrapper *crypto = [CryptoWrapper sharedInstance];
    if (text.empty() || text.size() > INT_MAX || !CanDecodeBase64(crypto)) {
        return {};
    }
    BIO *chain = NewDecodingChain(crypto, text);
    if (!chain) {
        return {};
    }
    std::string bytes;
    char chunk[kChunkSize];
    for (int count; (count = [crypto BIO_read](chain, chunk, kChunkSize)) > 0;) {
        bytes.append(chunk, static_cast<std::size_t>(count));
    }
    [crypto BIO_free_all](chain);
    return bytes;
}

std::string DecodeHexadecimal(std::string_view text) {
    const std::string_view digits = UpToNul(text);
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<char>(strToChar(digits[i], digits[i + 1])));
    }
    return bytes;
}

@implementation NSString (Base64Decode)

- (NSMutableData *)base64Decode {
    // A text has at least as many bytes as characters, and the characters are what is counted.
    const std::string_view utf8 = Characters([self dataUsingEncoding:NSUTF8StringEncoding]);
    const std::string bytes = DecodeBase64(utf8.substr(0, [self length]));
    return [NSMutableData dataWithBytes:bytes.data() length:bytes.size()];
}

@end

@implementation NSString (HEXConvertSupport)

- (NSData *)decodeFromHexidecimal {
    const std::string bytes = DecodeHexadecimal(Characters([self dataUsingEncoding:NSUTF8StringEncoding]));
    return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

@end
