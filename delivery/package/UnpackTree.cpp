#include "delivery/package/UnpackTree.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "base/Text.h"
#include "delivery/package/UnpackFailure.h"

namespace delivery {

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

UnpackFailure MakeFailure(int error, const EntryPath &path) {
    if (error == EEXIST) {
        return {kUnpackRefusedEntry, "the entry " + base::Quoted(JoinEntryPath(path)) + " comes twice"};
    }
    return WriteFailure(error, JoinEntryPath(path));
}

} // namespace

void UnpackTree::Count() {
    if (m_left == 0) {
        throw UnpackFailure{kUnpackTooLarge, "the package has more entries than are allowed"};
    }
    --m_left;
    ++m_made;
}

int UnpackTree::Enter(std::size_t depth, std::string_view name, const EntryPath &path) {
    const int parent = depth == 0 ? m_root : m_open[depth - 1].folder.get();
    const std::string text(name);
    if (mkdirat(parent, text.c_str(), 0755) == 0) {
        Count();
    } else if (errno != EEXIST) {
        throw WriteFailure(errno, JoinEntryPath(path));
    }
    base::ScopedDescriptor folder(openat(parent, text.c_str(), kFolderFlags));
    if (!folder && (errno == ELOOP || errno == ENOTDIR)) {
        throw UnpackFailure{kUnpackRefusedEntry, "the entry " + base::Quoted(JoinEntryPath(path)) +
                                                     " leads through something that is not a folder"};
    }
    if (!folder) {
        throw WriteFailure(errno, JoinEntryPath(path));
    }
    m_open.push_back({text, std::move(folder)});
    return m_open.back().folder.get();
}

int UnpackTree::Parent(const EntryPath &path) {
    const std::size_t depth = path.size() - 1;
    std::size_t same = 0;
    while (same < depth && same < m_open.size() && m_open[same].name == path[same]) {
        ++same;
    }
    m_open.resize(same);
    int folder = same == 0 ? m_root : m_open.back().folder.get();
    for (std::size_t i = same; i < depth; ++i) {
        folder = Enter(i, path[i], path);
    }
    return folder;
}

void UnpackTree::MakeFolder(const EntryPath &path) {
    Parent(path);
    Enter(path.size() - 1, path.back(), path);
}

base::ScopedDescriptor UnpackTree::MakeFile(const EntryPath &path, bool executable) {
    const int parent = Parent(path);
    Count();
    base::ScopedDescriptor file(openat(parent, std::string(path.back()).c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, executable ? 0755 : 0644));
    if (!file) {
        throw MakeFailure(errno, path);
    }
    return file;
}

void UnpackTree::MakeLink(const EntryPath &path, const std::string &target) {
    if (!LinkStaysInside(path.size() - 1, target)) {
        throw UnpackFailure{kUnpackRefusedEntry, "the link " + base::Quoted(JoinEntryPath(path)) + " leads to " +
                                                     base::Quoted(target) + ", which is not within the component"};
    }
    const int parent = Parent(path);
    Count();
    if (symlinkat(target.c_str(), parent, std::string(path.back()).c_str()) != 0) {
        throw MakeFailure(errno, path);
    }
}

base::ScopedDescriptor UnpackTree::MakeHardLink(const EntryPath &path, const EntryPath &target) {
    const std::string from(target.back());
    base::ScopedDescriptor source(openat(Parent(target), from.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    struct stat info;
    if (!source || fstat(source.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
        throw UnpackFailure{kUnpackRefusedEntry, "the entry " + base::Quoted(JoinEntryPath(path)) +
                                                     " is a second name of " + base::Quoted(JoinEntryPath(target)) +
                                                     ", which is not a file of the component"};
    }
    // The way to the new name may close the folder of the old one.
    const base::ScopedDescriptor folder(fcntl(Parent(target), F_DUPFD_CLOEXEC, 0));
    const int parent = Parent(path);
    Count();
    if (linkat(folder.get(), from.c_str(), parent, std::string(path.back()).c_str(), 0) != 0) {
        throw MakeFailure(errno, path);
    }
    return source;
}

} // namespace delivery
