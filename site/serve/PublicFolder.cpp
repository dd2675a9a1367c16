#include "site/serve/PublicFolder.h"

#include <cerrno>

#include <fcntl.h>

#include "base/Digest.h"

namespace lumsite {

namespace {

constexpr std::size_t kRememberedTags = 4096;
constexpr std::string_view kIndex = "index.html";

// Empty steps and hidden names ("." and ".." among them) lead nowhere.
bool IsPublicName(std::string_view name) {
    return !name.empty() && name.front() != '.' && name.find('\0') == std::string_view::npos;
}

base::ScopedDescriptor OpenBelow(int folder, std::string_view name) {
    return base::ScopedDescriptor(
        openat(folder, std::string(name).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
}

} // namespace

base::Result<std::unique_ptr<PublicFolder>> PublicFolder::Open(const std::filesystem::path &root) {
    base::ScopedDescriptor opened(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened) {
        return base::SystemFailure("cannot serve " + root.string(), errno);
    }
    return std::unique_ptr<PublicFolder>(new PublicFolder(std::move(opened)));
}

PublicFolder::Outcome PublicFolder::Find(std::string_view path, PublicFile &file) {
    if (path.empty() || path.front() != '/') {
        return Outcome::Absent;
    }
    path.remove_prefix(1);
    base::ScopedDescriptor at(openat(m_root.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    bool isFolder = true;
    std::string_view name;
    for (bool more = true; more;) {
        const std::size_t slash = path.find('/');
        more = slash != std::string_view::npos;
        name = path.substr(0, slash);
        if (!more && name.empty()) {
            name = kIndex;
        }
        if (!isFolder || !IsPublicName(name)) {
            return Outcome::Absent;
        }
        at = OpenBelow(at.get(), name);
        if (!at || fstat(at.get(), &status) != 0) {
            return Outcome::Absent;
        }
        isFolder = S_ISDIR(status.st_mode);
        path.remove_prefix(more ? slash + 1 : path.size());
    }
    if (isFolder) {
        return Outcome::FolderWithoutSlash;
    }
    if (!S_ISREG(status.st_mode)) {
        return Outcome::Absent;
    }
    file.name = name;
    file.size = static_cast<std::uint64_t>(status.st_size);
    file.modified = status.st_mtim.tv_sec;
    base::Result<std::string> tag = TagOf(at.get(), status);
    if (!tag) {
        return Outcome::Unreadable;
    }
    file.tag = std::move(*tag);
    file.descriptor = std::move(at);
    return Outcome::File;
}

base::Result<std::string> PublicFolder::TagOf(int descriptor, const struct stat &status) {
    const Identity identity{status.st_dev,          status.st_ino,         status.st_size,        status.st_mtim.tv_sec,
                            status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_tags.find(identity);
        if (found != m_tags.end()) {
            return found->second;
        }
    }
    const base::Result<std::string> digest = base::DigestOfFile(descriptor);
    if (!digest) {
        return digest;
    }
    const std::string tag = "\"" + *digest + "\"";
    const std::lock_guard lock(m_mutex);
    if (m_tags.size() >= kRememberedTags) {
        m_tags.clear();
    }
    m_tags[identity] = tag;
    return tag;
}

} // namespace lumsite
