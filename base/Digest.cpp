#include "base/Digest.h"

#include <array>
#include <cerrno>
#include <new>
#include <vector>

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/ScopedDescriptor.h"
#include "base/Text.h"

namespace base {

namespace {

constexpr std::size_t kBlock = 256 * 1024;

const EVP_MD *Algorithm(DigestMethod method) {
    switch (method) {
    case DigestMethod::Sha1:
        return EVP_sha1();
    case DigestMethod::Sha512:
        return EVP_sha512();
    case DigestMethod::Sha256:
        break;
    }
    return EVP_sha256();
}

} // namespace

void Digest::Free::operator()(EVP_MD_CTX *context) const {
    EVP_MD_CTX_free(context);
}

Digest::Digest(DigestMethod method) : m_context(EVP_MD_CTX_new()) {
    if (!m_context || EVP_DigestInit_ex(m_context.get(), Algorithm(method), nullptr) != 1) {
        throw std::bad_alloc(); // these digests are never missing
    }
}

void Digest::Add(std::string_view bytes) {
    EVP_DigestUpdate(m_context.get(), bytes.data(), bytes.size());
}

std::string Digest::Hex() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    EVP_DigestFinal_ex(m_context.get(), digest.data(), &size);
    return ToHex({reinterpret_cast<const char *>(digest.data()), size});
}

Result<std::string> DigestOfFile(int descriptor, DigestMethod method) {
    Digest digest(method);
    std::vector<char> block(kBlock);
    for (off_t position = 0;;) {
        const ssize_t size = pread(descriptor, block.data(), block.size(), position);
        if (size < 0 && errno != EINTR) {
            return SystemFailure("cannot read", errno);
        }
        if (size == 0) {
            return digest.Hex();
        }
        if (size > 0) {
            digest.Add({block.data(), static_cast<std::size_t>(size)});
            position += size;
        }
    }
}

Result<std::string> DigestOfFile(const std::filesystem::path &file, DigestMethod method) {
    const ScopedDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat status {};
    if (!descriptor || fstat(descriptor.get(), &status) != 0) {
        return SystemFailure("cannot read " + file.string(), errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return SystemFailure("cannot read " + file.string(), S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    }
    return DigestOfFile(descriptor.get(), method).map_error([&](const Error &error) {
        return SystemFailure("cannot read " + file.string(), error.code).value();
    });
}

std::string DigestOfText(std::string_view text, DigestMethod method) {
    Digest digest(method);
    digest.Add(text);
    return digest.Hex();
}

} // namespace base
