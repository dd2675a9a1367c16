#include "base/Digest.h"

#include <fcntl.h>
#include <gnutls/crypto.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <vector>

#include "base/Files.h"

namespace base {

namespace {

constexpr std::size_t kSize = 32;

class Hash {
public:
    Hash() {
        m_ready = gnutls_hash_init(&m_hash, GNUTLS_DIG_SHA256) == 0;
    }
    ~Hash() {
        if (m_ready) {
            gnutls_hash_deinit(m_hash, nullptr);
        }
    }
    Hash(const Hash &) = delete;
    Hash &operator=(const Hash &) = delete;

    bool Add(const void *bytes, std::size_t size) {
        return m_ready && gnutls_hash(m_hash, bytes, size) == 0;
    }

    std::string Hex() {
        if (!m_ready) {
            return {};
        }
        constexpr std::string_view kDigits = "0123456789abcdef";
        std::array<unsigned char, kSize> digest{};
        gnutls_hash_output(m_hash, digest.data());
        std::string hex;
        for (const unsigned char byte : digest) {
            hex += kDigits[byte >> 4];
            hex += kDigits[byte & 15];
        }
        return hex;
    }

private:
    gnutls_hash_hd_t m_hash = nullptr;
    bool m_ready = false;
};

} // namespace

std::string Sha256OfFile(const std::filesystem::path &file) {
    const ScopedDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!descriptor) {
        return {};
    }
    Hash hash;
    std::vector<char> block(256 * 1024);
    for (;;) {
        const ssize_t size = read(descriptor.get(), block.data(), block.size());
        if (size < 0 && errno == EINTR) {
            continue;
        }
        if (size == 0) {
            return hash.Hex();
        }
        if (size < 0 || !hash.Add(block.data(), static_cast<std::size_t>(size))) {
            return {};
        }
    }
}

std::string Sha256OfText(std::string_view text) {
    Hash hash;
    return hash.Add(text.data(), text.size()) ? hash.Hex() : std::string();
}

} // namespace base
