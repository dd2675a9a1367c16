#include "base/QuickDigest.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xxhash.h>

#include <new>
#include <vector>

#include "base/ScopedDescriptor.h"

namespace base {

namespace {

constexpr std::size_t kBlock = 256 << 10;

} // namespace

void QuickDigest::Free::operator()(XXH3_state_s *state) const {
    XXH3_freeState(state);
}

QuickDigest::QuickDigest() : m_state(XXH3_createState()) {
    if (!m_state) {
        throw std::bad_alloc();
    }
    XXH3_64bits_reset(m_state.get());
}

void QuickDigest::Add(std::string_view bytes) {
    XXH3_64bits_update(m_state.get(), bytes.data(), bytes.size());
}

std::uint64_t QuickDigest::Value() const {
    return XXH3_64bits_digest(m_state.get());
}

Result<std::uint64_t> QuickDigestOfFile(const std::filesystem::path &file) {
    const ScopedDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat status {};
    if (!descriptor || fstat(descriptor.get(), &status) != 0) {
        return SystemFailure("cannot read " + file.string(), errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return SystemFailure("cannot read " + file.string(), EINVAL);
    }
    QuickDigest digest;
    std::vector<char> block(kBlock);
    for (;;) {
        const ssize_t size = read(descriptor.get(), block.data(), block.size());
        if (size == 0) {
            return digest.Value();
        }
        if (size > 0) {
            digest.Add({block.data(), static_cast<std::size_t>(size)});
        } else if (errno != EINTR) {
            return SystemFailure("cannot read " + file.string(), errno);
        }
    }
}

std::uint64_t QuickDigestOfText(std::string_view text) {
    return XXH3_64bits(text.data(), text.size());
}

} // namespace base
