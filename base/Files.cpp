#include "base/Files.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace base {

namespace {

bool Fail(std::string *error, int number) {
    if (error) {
        *error = std::strerror(number);
    }
    return false;
}

// The name under which a process writes ends with its number, so that what a killed one has left is known.
constexpr std::string_view kUnfinished = ".new";

std::string UnfinishedName(const std::filesystem::path &file) {
    return file.string() + "." + std::to_string(getpid()) + std::string(kUnfinished);
}

// The process that wrote under this name, or 0 when it is no such name.
pid_t WriterOf(std::string_view name, std::string_view file) {
    if (!name.starts_with(file) || !name.ends_with(kUnfinished) || name.size() < file.size() + 1 + kUnfinished.size() ||
        name[file.size()] != '.') {
        return 0;
    }
    const std::string_view number = name.substr(file.size() + 1, name.size() - file.size() - 1 - kUnfinished.size());
    pid_t writer = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), writer);
    return error == std::errc() && end == number.data() + number.size() ? writer : 0;
}

} // namespace

std::optional<std::string> ReadWhole(const std::filesystem::path &file, std::uint64_t maxBytes, std::string *error) {
    // Not blocking: a pipe of that name must not hold the program up.
    const ScopedDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!descriptor || fstat(descriptor.get(), &status) != 0) {
        Fail(error, errno);
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode) || static_cast<std::uint64_t>(status.st_size) > maxBytes) {
        Fail(error, S_ISDIR(status.st_mode) ? EISDIR : !S_ISREG(status.st_mode) ? EINVAL : EFBIG);
        return std::nullopt;
    }
    std::string content(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t read = 0;
    while (read < content.size()) {
        const ssize_t part = ::read(descriptor.get(), content.data() + read, content.size() - read);
        if (part < 0 && errno == EINTR) {
            continue;
        }
        if (part < 0) {
            Fail(error, errno);
            return std::nullopt;
        }
        if (part == 0) {
            break;
        }
        read += static_cast<std::size_t>(part);
    }
    content.resize(read);
    return content;
}

bool WriteAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t part = write(descriptor, bytes.data(), bytes.size());
        if (part < 0 && errno == EINTR) {
            continue;
        }
        if (part <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(part));
    }
    return true;
}

bool MakeFolder(const std::filesystem::path &folder, std::string *error, Readers readers) {
    if (folder.empty()) {
        return Fail(error, ENOENT);
    }
    const mode_t mode = readers == Readers::Everyone ? 0755 : 0700;
    if (mkdir(folder.c_str(), mode) == 0) {
        return true;
    }
    if (errno == ENOENT && folder.has_parent_path() && folder.parent_path() != folder) {
        return MakeFolder(folder.parent_path(), error, readers) &&
               (mkdir(folder.c_str(), mode) == 0 || errno == EEXIST || Fail(error, errno));
    }
    struct stat status {};
    const int number = errno;
    if (number == EEXIST && stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        return true;
    }
    return Fail(error, number == EEXIST ? ENOTDIR : number);
}

bool WriteInOneStep(const std::filesystem::path &file, std::string_view content, std::string *error, Readers readers) {
    if (!MakeFolder(file.parent_path(), error, readers)) {
        return false;
    }
    RemoveUnfinished(file);
    const std::string temporary = UnfinishedName(file);
    unlink(temporary.c_str()); // of an earlier process of this number
    ScopedDescriptor descriptor(open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!descriptor) {
        return Fail(error, errno);
    }
    const bool written = WriteAll(descriptor.get(), content) &&
                         (readers == Readers::Owner || fchmod(descriptor.get(), 0644) == 0) &&
                         fsync(descriptor.get()) == 0;
    const int number = errno;
    descriptor.Close();
    if (written && rename(temporary.c_str(), file.c_str()) == 0) {
        return true;
    }
    Fail(error, written ? errno : number);
    unlink(temporary.c_str());
    return false;
}

void RemoveUnfinished(const std::filesystem::path &file) {
    const std::string name = file.filename().string();
    std::error_code error;
    std::filesystem::directory_iterator entry(file.parent_path(), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const pid_t writer = WriterOf(entry->path().filename().string(), name);
        if (writer > 0 && writer != getpid() && kill(writer, 0) != 0 && errno == ESRCH) {
            unlink(entry->path().c_str());
        }
    }
}

ScopedLock::ScopedLock(const std::filesystem::path &file)
    : m_file(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    while (m_file && flock(m_file.get(), LOCK_EX) != 0 && errno == EINTR) {
    }
}

} // namespace base
