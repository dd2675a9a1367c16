#include "site/serve/PublicFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include "site/SiteError.h"

namespace lumsite {
namespace {

constexpr size_t kRememberedTags = 4096;
constexpr std::string_view kIndex = "index.html";

// Empty steps and hidden names ("." and ".." among them) lead nowhere.
bool IsPublicName(std::string_view name) {
    return !name.empty() && name.front() != '.' && name.find('\0') == std::string_view::npos;
}

ScopedFd OpenBelow(int folder, std::string_view name) {
    return ScopedFd(openat(folder, std::string(name).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
}

} // namespace

PublicFolder::PublicFolder(const std::filesystem::path &root)
    : m_root(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (!m_root.valid()) {
        ThrowSystemError("cannot serve", root);
    }
}

PublicFolder::Outcome PublicFolder::Open(std::string_view path, PublicFile &file) {
    if (path.empty() || path.front() != '/') {
        return Outcome::absent;
    }
    path.remove_prefix(1);
    ScopedFd at(openat(m_root.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    bool isFolder = true;
    std::string_view name;
    for (bool more = true; more;) {
        const size_t slash = path.find('/');
        more = slash != std::string_view::npos;
        name = path.substr(0, slash);
        if (!more && name.empty()) {
            name = kIndex;
        }
        if (!isFolder || !IsPublicName(name)) {
            return Outcome::absent;
        }
        at = OpenBelow(at.get(), name);
        if (!at.valid() || fstat(at.get(), &status) != 0) {
            return Outcome::absent;
        }
        isFolder = S_ISDIR(status.st_mode);
        path.remove_prefix(more ? slash + 1 : path.size());
    }
    if (isFolder) {
        return Outcome::folderWithoutSlash;
    }
    if (!S_ISREG(status.st_mode)) {
        return Outcome::absent;
    }
    file.name = name;
    file.size = static_cast<std::uint64_t>(status.st_size);
    file.modified = status.st_mtim.tv_sec;
    file.tag = TagOf(at.get(), status);
    file.fd = std::move(at);
    return Outcome::file;
}

std::string PublicFolder::TagOf(int fd, const struct stat &status) {
    const Identity identity{status.st_dev,          status.st_ino,         status.st_size,        status.st_mtim.tv_sec,
                            status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_tags.find(identity);
        if (found != m_tags.end()) {
            return found->second;
        }
    }
    const std::string tag = "\"" + DigestOfFile(fd, "sha256") + "\"";
    const std::lock_guard lock(m_mutex);
    if (m_tags.size() >= kRememberedTags) {
        m_tags.clear();
    }
    m_tags[identity] = tag;
    return tag;
}

} // namespace lumsite
