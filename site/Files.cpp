#include "site/Files.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "site/SiteError.h"

namespace fs = std::filesystem;

namespace lumsite {
namespace {

constexpr std::string_view kTemporaryPrefix = ".lumsite-new-";
constexpr const char *kLockName = ".lumsite-lock";

void WriteAll(int fd, std::string_view content, const fs::path &path) {
    while (!content.empty()) {
        const ssize_t written = write(fd, content.data(), content.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            ThrowSystemError("cannot write", path);
        }
        content.remove_prefix(static_cast<size_t>(written));
    }
}

void Sync(const fs::path &path, int flags) {
    const ScopedFd file(open(path.c_str(), flags | O_CLOEXEC));
    if (!file.valid() || fsync(file.get()) != 0) {
        ThrowSystemError("cannot bring to the disk", path);
    }
}

} // namespace

ScopedFd::~ScopedFd() {
    if (m_fd >= 0) {
        close(m_fd);
    }
}

ScopedFd &ScopedFd::operator=(ScopedFd &&other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
}

std::string_view TemporaryPrefix() {
    return kTemporaryPrefix;
}

std::string ReadWholeFile(const fs::path &path) {
    errno = 0;
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    if (fs::is_directory(path)) {
        errno = EISDIR;
    } else if (in && (in.peek() == std::ifstream::traits_type::eof() || text << in.rdbuf())) {
        return text.str();
    }
    ThrowSystemError("cannot read", path);
}

void WriteSecretFile(const fs::path &path, std::string_view content) {
    const ScopedFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.valid()) {
        ThrowSystemError("cannot create", path);
    }
    WriteAll(file.get(), content, path);
    if (fsync(file.get()) != 0) {
        ThrowSystemError("cannot bring to the disk", path);
    }
}

TemporaryFile::TemporaryFile(const fs::path &folder) {
    std::string name = (folder / kTemporaryPrefix).string() + "XXXXXX";
    const ScopedFd file(mkostemp(name.data(), O_CLOEXEC));
    if (!file.valid()) {
        ThrowSystemError("cannot make a file in", folder);
    }
    m_path = name;
    fchmod(file.get(), S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
}

TemporaryFile::~TemporaryFile() {
    if (!m_committed) {
        unlink(m_path.c_str());
    }
}

void TemporaryFile::Commit(const fs::path &final) {
    std::error_code error;
    const fs::file_status there = fs::symlink_status(final, error);
    if (fs::exists(there) && !fs::is_regular_file(there) && !fs::is_symlink(there)) {
        throw SiteError(final.string() + " is there and no plain file; choose another name");
    }
    Sync(m_path, O_WRONLY);
    if (rename(m_path.c_str(), final.c_str()) != 0) {
        ThrowSystemError("cannot replace", final);
    }
    m_committed = true;
    Sync(final.parent_path().empty() ? fs::path(".") : final.parent_path(), O_RDONLY | O_DIRECTORY);
}

bool ReplaceFile(const fs::path &path, std::string_view content) {
    std::error_code error;
    if (fs::is_regular_file(fs::symlink_status(path, error)) && ReadWholeFile(path) == content) {
        return false;
    }
    TemporaryFile file(path.parent_path().empty() ? fs::path(".") : path.parent_path());
    {
        const ScopedFd out(open(file.path().c_str(), O_WRONLY | O_CLOEXEC));
        if (!out.valid()) {
            ThrowSystemError("cannot write", file.path());
        }
        WriteAll(out.get(), content, file.path());
    }
    file.Commit(path);
    return true;
}

void RemoveStaleTemporaries(const fs::path &folder) {
    for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
        if (entry.path().filename().string().starts_with(kTemporaryPrefix)) {
            fs::remove(entry.path());
        }
    }
}

FolderLock::FolderLock(const fs::path &folder) {
    const fs::path path = folder / kLockName;
    m_file = ScopedFd(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!m_file.valid()) {
        ThrowSystemError("cannot lock", path);
    }
    if (flock(m_file.get(), LOCK_EX | LOCK_NB) != 0) {
        throw SiteError(folder.string() + " is being published by another lumsite; wait until that one has ended");
    }
}

std::string DigestOfFile(int fd, std::string_view method) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (EVP_DigestInit_ex(context.get(), method == "sha1" ? EVP_sha1() : EVP_sha256(), nullptr) != 1) {
        throw SiteError("the crypto library has no " + std::string(method));
    }
    std::array<unsigned char, 65536> block;
    off_t position = 0;
    for (;;) {
        const ssize_t count = pread(fd, block.data(), block.size(), position);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            ThrowSystemError("cannot read", "a file to hash");
        }
        if (count == 0) {
            break;
        }
        EVP_DigestUpdate(context.get(), block.data(), static_cast<size_t>(count));
        position += count;
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned int length = 0;
    EVP_DigestFinal_ex(context.get(), digest.data(), &length);
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        text += kDigits[digest[i] >> 4];
        text += kDigits[digest[i] & 15];
    }
    return text;
}

std::string DigestOfFile(const fs::path &path, std::string_view method) {
    const ScopedFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.valid()) {
        ThrowSystemError("cannot read", path);
    }
    return DigestOfFile(file.get(), method);
}

} // namespace lumsite
