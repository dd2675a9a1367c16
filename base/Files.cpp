#include "base/Files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <optional>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/Text.h"

namespace base {

namespace {

constexpr std::string_view kStagedPrefix = ".new-";
constexpr std::string_view kRandomSigns = "XXXXXX";

tl::unexpected<Error> CannotDo(const char *what, const std::filesystem::path &file, int number) {
    return SystemFailure(std::string("cannot ") + what + " " + file.string(), number);
}

// ".new-PROCESS-XXXXXX"; the process that makes the file of this name, or nothing when it is another name.
std::optional<pid_t> WriterOf(std::string_view name) {
    if (!name.starts_with(kStagedPrefix)) {
        return std::nullopt;
    }
    name.remove_prefix(kStagedPrefix.size());
    const std::size_t dash = name.find('-');
    if (dash == std::string_view::npos || name.size() - dash - 1 != kRandomSigns.size()) {
        return std::nullopt;
    }
    const std::optional<pid_t> writer = ReadNumber<pid_t>(name.substr(0, dash));
    return writer && *writer > 0 ? writer : std::nullopt;
}

bool HasEnded(pid_t process) {
    return process != getpid() && kill(process, 0) != 0 && errno == ESRCH;
}

Result<void> ReadParts(int descriptor, std::string &content) {
    std::size_t read = 0;
    while (read < content.size()) {
        const ssize_t part = pread(descriptor, content.data() + read, content.size() - read, static_cast<off_t>(read));
        if (part < 0 && errno != EINTR) {
            return SystemFailure("cannot read", errno);
        }
        if (part == 0) {
            break; // it has become shorter
        }
        read += part > 0 ? static_cast<std::size_t>(part) : 0;
    }
    content.resize(read);
    return {};
}

Result<void> SyncFolder(const std::filesystem::path &folder) {
    const ScopedDescriptor opened(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened || fsync(opened.get()) != 0) {
        return CannotDo("write to the disk", folder, errno);
    }
    return {};
}

bool CanBeReplaced(const std::filesystem::path &file) {
    struct stat status {};
    return lstat(file.c_str(), &status) != 0 || S_ISREG(status.st_mode) || S_ISLNK(status.st_mode);
}

} // namespace

Result<std::string> ReadWhole(int descriptor, std::uint64_t maxBytes) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        return SystemFailure("cannot read", errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return SystemFailure("cannot read", S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    }
    if (static_cast<std::uint64_t>(status.st_size) > maxBytes) {
        return SystemFailure("cannot read", EFBIG);
    }
    std::string content(static_cast<std::size_t>(status.st_size), '\0');
    if (Result<void> read = ReadParts(descriptor, content); !read) {
        return Fail(std::move(read.error()));
    }
    return content;
}

Result<std::string> ReadWhole(const std::filesystem::path &file, std::uint64_t maxBytes) {
    const ScopedDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor) {
        return CannotDo("read", file, errno);
    }
    return ReadWhole(descriptor.get(), maxBytes).map_error([&](const Error &error) {
        return CannotDo("read", file, error.code).value();
    });
}

std::string ReadStart(int descriptor, std::size_t maxBytes) {
    std::string content;
    std::array<char, 4096> block;
    while (content.size() < maxBytes) {
        const ssize_t part = read(descriptor, block.data(), std::min(block.size(), maxBytes - content.size()));
        if (part < 0 && errno == EINTR) {
            continue;
        }
        if (part <= 0) {
            break;
        }
        content.append(block.data(), static_cast<std::size_t>(part));
    }
    return content;
}

Result<void> WriteAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t part = write(descriptor, bytes.data(), bytes.size());
        if (part < 0 && errno == EINTR) {
            continue;
        }
        if (part <= 0) {
            return SystemFailure("cannot write", part < 0 ? errno : EIO);
        }
        bytes.remove_prefix(static_cast<std::size_t>(part));
    }
    return {};
}

Result<void> MakeFolder(const std::filesystem::path &folder, Readers readers) {
    if (folder.empty()) {
        return SystemFailure("cannot make a folder without a name", ENOENT);
    }
    const mode_t mode = readers == Readers::Everyone ? 0755 : 0700;
    if (mkdir(folder.c_str(), mode) == 0) {
        return {};
    }
    int number = errno;
    if (number == ENOENT && folder.has_parent_path() && folder.parent_path() != folder) {
        if (Result<void> parent = MakeFolder(folder.parent_path(), readers); !parent) {
            return parent;
        }
        if (mkdir(folder.c_str(), mode) == 0) {
            return {};
        }
        number = errno;
    }
    struct stat status {};
    if (number == EEXIST && stat(folder.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) {
            return {};
        }
        number = ENOTDIR;
    }
    return CannotDo("make the folder", folder, number);
}

Result<StagedFile> StagedFile::Make(const std::filesystem::path &folder, Readers readers) {
    std::string name = (folder / kStagedPrefix).string() + std::to_string(getpid()) + "-" + std::string(kRandomSigns);
    ScopedDescriptor file(mkostemp(name.data(), O_CLOEXEC));
    if (!file) {
        return CannotDo("make a file in", folder, errno);
    }
    StagedFile staged(name, std::move(file));
    if (readers == Readers::Everyone && fchmod(staged.descriptor(), 0644) != 0) {
        return CannotDo("make a file in", folder, errno);
    }
    return staged;
}

StagedFile::StagedFile(StagedFile &&other) noexcept
    : m_path(std::exchange(other.m_path, {})), m_file(std::move(other.m_file)) {}

StagedFile::~StagedFile() {
    if (!m_path.empty()) {
        unlink(m_path.c_str());
    }
}

Result<void> StagedFile::Commit(const std::filesystem::path &file, Durability durability) {
    if (durability == Durability::OnDisk && fsync(m_file.get()) != 0) {
        return CannotDo("write", file, errno);
    }
    m_file.Close();
    if (!CanBeReplaced(file)) {
        return Fail(file.string() + " exists but is not a regular file; choose another name", EEXIST);
    }
    if (rename(m_path.c_str(), file.c_str()) != 0) {
        return CannotDo("replace", file, errno);
    }
    m_path.clear();
    return durability == Durability::OnDisk ? SyncFolder(file.parent_path()) : Result<void>();
}

Result<void> ReplaceFile(const std::filesystem::path &file, std::string_view content, Readers readers,
                         Durability durability) {
    const std::filesystem::path folder = file.has_parent_path() ? file.parent_path() : ".";
    if (Result<void> made = MakeFolder(folder, readers); !made) {
        return made;
    }
    RemoveUnfinished(folder);
    Result<StagedFile> staged = StagedFile::Make(folder, readers);
    if (!staged) {
        return Fail(std::move(staged.error()));
    }
    if (const Result<void> written = WriteAll(staged->descriptor(), content); !written) {
        return CannotDo("write", file, written.error().code);
    }
    return staged->Commit(file, durability);
}

Result<void> WriteNewFile(const std::filesystem::path &file, std::string_view content) {
    const ScopedDescriptor descriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!descriptor) {
        return CannotDo("make", file, errno);
    }
    const Result<void> written = WriteAll(descriptor.get(), content);
    if (!written || fsync(descriptor.get()) != 0) {
        const int number = written ? errno : written.error().code;
        unlink(file.c_str());
        return CannotDo("write", file, number);
    }
    return {};
}

void RemoveUnfinished(const std::filesystem::path &folder) {
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::optional<pid_t> writer = WriterOf(entry->path().filename().string());
        if (writer && HasEnded(*writer)) {
            unlink(entry->path().c_str());
        }
    }
}

Result<FileLock> FileLock::Take(const std::filesystem::path &file, int operation) {
    ScopedDescriptor descriptor(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!descriptor) {
        return CannotDo("lock", file, errno);
    }
    while (flock(descriptor.get(), operation) != 0) {
        if (errno != EINTR) {
            return CannotDo("lock", file, errno);
        }
    }
    return FileLock(std::move(descriptor));
}

Result<FileLock> FileLock::Wait(const std::filesystem::path &file) {
    return Take(file, LOCK_EX);
}

Result<FileLock> FileLock::Try(const std::filesystem::path &file) {
    return Take(file, LOCK_EX | LOCK_NB);
}

Result<FileLock> FileLock::TryShared(const std::filesystem::path &file) {
    return Take(file, LOCK_SH | LOCK_NB);
}

bool FileLock::BecomesOnly() const {
    return flock(m_file.get(), LOCK_EX | LOCK_NB) == 0;
}

bool FileLock::IsInPlace(const std::filesystem::path &file) const {
    struct stat held, named;
    return fstat(m_file.get(), &held) == 0 && lstat(file.c_str(), &named) == 0 && held.st_dev == named.st_dev &&
           held.st_ino == named.st_ino;
}

} // namespace base
