#include "delivery/transfer/CachedFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

#include "base/Text.h"

namespace delivery {

namespace {

namespace fs = std::filesystem;

constexpr char kUsers[] = ".users";
constexpr std::uint64_t kLongestText = 64 * 1024;
constexpr char kComplete[] = "complete";
constexpr char kPart[] = "part";

fs::path UsersOf(const fs::path &file) {
    return file.string() + kUsers;
}

// A file that was complete when the computer went down may not be so on the disk.
std::string Boot() {
    const base::ScopedDescriptor file(open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC));
    return std::string(base::Trim(base::ReadStart(file.get(), 100)));
}

// While nobody else uses it.
void Remove(const fs::path &file) {
    unlink(file.c_str());
    unlink(UsersOf(file).c_str());
}

} // namespace

std::unique_ptr<CachedFile> CachedFile::Join(const fs::path &folder, const std::string &name) {
    if (!base::MakeFolder(folder)) {
        return nullptr;
    }
    constexpr int kTries = 400; // two seconds: another process may be removing the file just now
    for (int i = 0; i < kTries; ++i) {
        auto user = base::FileLock::TryShared(UsersOf(folder / name));
        if (!user && user.error().code != EWOULDBLOCK) {
            return nullptr;
        }
        if (user && user->IsInPlace(UsersOf(folder / name))) {
            return std::unique_ptr<CachedFile>(new CachedFile(folder / name, std::move(*user)));
        }
        usleep(5000);
    }
    return nullptr;
}

CachedFile::~CachedFile() {
    m_turn.reset();
    if (m_user.BecomesOnly() && (IsComplete() || size() == 0)) {
        Remove(m_path);
    }
}

CachedFile::Turn CachedFile::Look() {
    if (!m_turn) {
        auto turn = base::FileLock::Try(m_path);
        if (!turn) {
            return Turn::Others;
        }
        m_turn.emplace(std::move(*turn));
    }
    if (IsComplete()) {
        m_turn.reset();
        return Turn::Complete;
    }
    return Turn::Mine;
}

std::uint64_t CachedFile::size() const {
    struct stat status {};
    return stat(m_path.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool CachedFile::IsComplete() const {
    return base::ReadWhole(m_user.descriptor(), kLongestText).value_or("") == kComplete + ("\n" + Boot());
}

std::optional<CachedFile::Origin> CachedFile::origin() const {
    std::istringstream text(base::ReadWhole(m_user.descriptor(), kLongestText).value_or(""));
    std::string kind, total;
    Origin origin;
    if (!std::getline(text, kind) || kind != kPart || !std::getline(text, origin.tag) ||
        !std::getline(text, origin.address) || !std::getline(text, total, '.') || text.eof()) {
        return std::nullopt;
    }
    origin.total = base::ReadNumber<std::uint64_t>(total);
    return origin;
}

void CachedFile::SetOrigin(const std::optional<Origin> &origin) {
    Write(origin ? std::string(kPart) + "\n" + origin->tag + "\n" + origin->address + "\n" +
                       (origin->total ? std::to_string(*origin->total) : "") + "."
                 : "");
}

void CachedFile::Complete() {
    Write(kComplete + ("\n" + Boot()));
    m_turn.reset();
}

// A text that could not be written whole says nothing, so that the bytes are fetched again.
void CachedFile::Write(const std::string &text) const {
    if (ftruncate(m_user.descriptor(), 0) == 0 && lseek(m_user.descriptor(), 0, SEEK_SET) == 0 &&
        !base::WriteAll(m_user.descriptor(), text)) {
        (void)!ftruncate(m_user.descriptor(), 0);
    }
}

base::Result<void> CachedFile::Give(const fs::path &file) const {
    if (link(m_path.c_str(), file.c_str()) == 0) {
        return {};
    }
    std::error_code error; // a file system without hard links
    fs::copy_file(m_path, file, error);
    return error ? base::SystemFailure("cannot copy " + m_path.string(), error.value()) : base::Result<void>();
}

void CachedFile::RemoveOld(const fs::path &folder) {
    std::error_code error;
    const auto now = fs::file_time_type::clock::now();
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().string();
        std::error_code gone;
        if (!name.ends_with(kUsers) || now - entry->last_write_time(gone) < kKeptParts || gone) {
            continue;
        }
        if (const auto only = base::FileLock::Try(name); only && only->IsInPlace(name)) {
            Remove(name.substr(0, name.size() - std::string(kUsers).size()));
        }
    }
}

} // namespace delivery
