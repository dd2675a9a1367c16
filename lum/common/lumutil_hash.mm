// Digests of files, by the bound crypto library.
//
// The streams stay open until the process ends, which is expected of these functions; a list keeps them reachable.
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>

#include "lum/common/lumutil.h"
#import "lum/security/CryptoWrapper.h"

namespace {

constexpr std::size_t kChunkSize = 4096;
// What the stream reads ahead. With the C library's own 4096 bytes, there is a system call for each chunk, and hashing
// takes 10% longer.
constexpr std::size_t kStreamBufferSize = 64 * 1024;

// The stream that a hash function leaves open, with a large buffer for as long as this object lives.
class LeftOpenStream {
public:
    explicit LeftOpenStream(const std::string &path) : m_stream(std::fopen(path.c_str(), "rbe")) {
        if (m_stream) {
            LeftOpen().push_back(m_stream);
            m_buffer.reset(new char[kStreamBufferSize]);
            std::setvbuf(m_stream, m_buffer.get(), _IOFBF, kStreamBufferSize);
        }
    }

    ~LeftOpenStream() {
        // An unbuffered stream no longer uses the buffer; if that fails, the buffer must live as long as the stream.
        if (m_stream && std::setvbuf(m_stream, nullptr, _IONBF, 0) != 0) {
            m_buffer.release();
        }
    } // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)

    LeftOpenStream(const LeftOpenStream &) = delete;
    LeftOpenStream &operator=(const LeftOpenStream &) = delete;

    explicit operator bool() const {
        return m_stream != nullptr;
    }

    bool IsEmpty() {
        return std::fseek(m_stream, 0, SEEK_END) == 0 && std::ftell(m_stream) == 0;
    }

    void Rewind() {
        std::fseek(m_stream, 0, SEEK_SET);
    }

    // The bytes read, none at the end or after an error.
    std::size_t Read(std::span<unsigned char, kChunkSize> chunk) {
        std::memset(chunk.data(), 0, chunk.size());
        return std::fread(chunk.data(), 1, chunk.size(), m_stream);
    }

private:
    static std::vector<std::FILE *> &LeftOpen() {
        static auto *streams = new std::vector<std::FILE *>;
        return *streams;
    }

    std::FILE *m_stream;
    std::unique_ptr<char[]> m_buffer;
};

std::string LowerHexadecimal(std::span<const unsigned char> bytes) {
    std::string text;
    for (const unsigned char byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

template <class Context> struct Digest {
    int (*init)(Context *);
    int (*update)(Context *, const void *, std::size_t);
    int (*final)(unsigned char *, Context *);

    bool IsWhole() const {
        return init && update && final;
    }
};

Digest<SHA_CTX> Sha1() {
    CryptoWrapper *crypto = [CryptoWrapper sharedInstance];
    return {[crypto SHA_Init], [crypto SHA1_Update], [crypto SHA1_Final]};
}

Digest<SHA256_CTX> Sha256() {
    CryptoWrapper *crypto = [CryptoWrapper sharedInstance];
    return {[crypto SHA256_Init], [crypto SHA256_Update], [crypto SHA256_Final]};
}

template <std::size_t digestSize, class Context>
std::string DigestOfFile(const std::string &path, Digest<Context> (*bind)()) {
    LeftOpenStream stream(path);
    if (!stream) {
        return {};
    }
    const Digest<Context> digest = bind();
    if (stream.IsEmpty() || !digest.IsWhole()) {
        return {};
    }
    Context context;
    digest.init(&context);
    stream.Rewind();
    alignas(64) unsigned char chunk[kChunkSize];
    while (const std::size_t size = stream.Read(chunk)) {
        digest.update(&context, chunk, size);
    }
    unsigned char bytes[digestSize];
    digest.final(bytes, &context);
    return LowerHexadecimal(bytes);
}

} // namespace

std::string Sha1OfFile(const std::string &path) {
    return DigestOfFile<SHA_DIGEST_LENGTH>(path, Sha1);
}

std::string Sha256OfFile(const std::string &path) {
    return DigestOfFile<SHA256_DIGEST_LENGTH>(path, Sha256);
}
