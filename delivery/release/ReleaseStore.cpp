#include "delivery/release/ReleaseStore.h"

#include <system_error>

#include "base/Digest.h"
#include "base/Text.h"
#include "delivery/release/ReleaseFault.h"

namespace delivery {

namespace fs = std::filesystem;

namespace {

constexpr char kRoot[] = "root";
constexpr char kLock[] = "lock";
constexpr char kSuffix[] = ".json";
constexpr std::uint64_t kMaxFile = 32'000'000; // above every limit of ReleaseLimits that makes sense
constexpr std::size_t kMaxFileName = 200;      // file systems take 255 bytes

auto StorageFailure(const base::Error &error) {
    return Refuse(ReleaseFault::Storage, error.text);
}

std::string DigestOf(const std::optional<std::string> &content) {
    return content ? base::DigestOfText(*content) : "";
}

} // namespace

fs::path ReleaseStore::FileOf(const std::string &role) const {
    const std::string name = base::PercentEncode(role);
    return m_folder / ((name.size() > kMaxFileName ? base::DigestOfText(role) : name) + kSuffix);
}

base::Result<base::FileLock> ReleaseStore::Lock() const {
    if (base::Result<void> made = base::MakeFolder(m_folder); !made) {
        return StorageFailure(made.error());
    }
    base::Result<base::FileLock> lock = base::FileLock::Wait(m_folder / kLock);
    if (!lock) {
        return StorageFailure(lock.error());
    }
    return lock;
}

std::optional<std::string> ReleaseStore::OnDisk(const std::string &role) const {
    base::Result<std::string> content = base::ReadWhole(FileOf(role), kMaxFile);
    return content ? std::optional(std::move(*content)) : std::nullopt;
}

std::optional<std::string> ReleaseStore::Read(const std::string &role) {
    std::optional<std::string> content = OnDisk(role);
    m_known[role] = DigestOf(content);
    return content;
}

bool ReleaseStore::Changed(const std::string &role) const {
    const auto known = m_known.find(role);
    return known == m_known.end() || DigestOf(OnDisk(role)) != known->second;
}

base::Result<void> ReleaseStore::Write(const std::string &role, std::string_view bytes) {
    // Without the root nothing can be trusted again. The others are fetched again when a power failure takes them.
    const auto durability = role == kRoot ? base::Durability::OnDisk : base::Durability::Cached;
    if (base::Result<void> written = base::ReplaceFile(FileOf(role), bytes, base::Readers::Owner, durability);
        !written) {
        return StorageFailure(written.error());
    }
    return {};
}

base::Result<void> ReleaseStore::Save(const std::string &role, const std::string &lister, std::string_view bytes,
                                      const std::function<bool(std::string_view)> &staysFirst) {
    const base::Result<base::FileLock> lock = Lock();
    if (!lock) {
        return base::Fail(lock.error());
    }
    bool stays = Changed(lister);
    if (!stays && staysFirst && Changed(role)) {
        const std::optional<std::string> present = OnDisk(role);
        stays = present && staysFirst(*present);
    }
    m_known[role] = base::DigestOfText(bytes); // what stays is another one, so what this file lists is not saved either
    return stays ? base::Result<void>() : Write(role, bytes);
}

base::Result<void> ReleaseStore::Forget(const std::string &role) {
    const base::Result<base::FileLock> lock = Lock();
    if (!lock) {
        return base::Fail(lock.error());
    }
    std::error_code error;
    if (!Changed(kRoot)) {
        fs::remove(FileOf(role), error);
        m_known[role] = "";
    }
    if (error) {
        return Refuse(ReleaseFault::Storage, "cannot remove " + FileOf(role).string() + ": " + error.message());
    }
    return {};
}

base::Result<void> ReleaseStore::StartOver(std::string_view root) {
    const base::Result<base::FileLock> lock = Lock();
    if (!lock) {
        return base::Fail(lock.error());
    }
    std::error_code error;
    for (auto entry = fs::directory_iterator(m_folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        if (entry->path().extension() == kSuffix && entry->path() != FileOf(kRoot)) {
            fs::remove(entry->path(), error);
        }
    }
    if (error) {
        return Refuse(ReleaseFault::Storage, "cannot clear " + m_folder.string() + ": " + error.message());
    }
    m_known.clear();
    m_known[kRoot] = base::DigestOfText(root);
    return Write(kRoot, root);
}

} // namespace delivery
