#include "host/installed/FileState.h"

#include <sys/stat.h>

#include "base/Digest.h"
#include "base/QuickDigest.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

// The extension writes the application's name into these before it starts it.
constexpr const char *kWrittenTexts = "InfoPlist.strings";
constexpr std::string_view kLibrary = ".dylib";

// Records of earlier versions of this program have SHA-256.
bool IsOldDigest(const std::string &digest) {
    return digest.size() == 64;
}

bool HasDigest(const fs::path &path, const std::string &digest) {
    if (IsOldDigest(digest)) {
        return base::DigestOfFile(path).value_or("") == digest;
    }
    const base::Result<std::uint64_t> found = base::QuickDigestOfFile(path);
    return found && DigestText(*found) == digest;
}

bool TextHasDigest(const std::string &text, const std::string &digest) {
    return IsOldDigest(digest) ? base::DigestOfText(text) == digest
                               : DigestText(base::QuickDigestOfText(text)) == digest;
}

} // namespace

FileFault CheckFile(const InstalledFile &file, const fs::path &folder) {
    std::error_code error;
    const fs::path path = folder / file.path;
    const fs::file_status status = fs::symlink_status(path, error);
    if (!fs::exists(status)) {
        return FileFault::Missing;
    }
    if (fs::is_symlink(status)) {
        const std::string target = fs::read_symlink(path, error).string();
        // A link that arrived as a small file with its target in it, and was repaired.
        const bool same = file.target.empty() ? TextHasDigest(target, file.digest) : target == file.target;
        return same ? FileFault::None : FileFault::Changed;
    }
    if (file.target.empty() && fs::is_regular_file(status) && path.filename() == kWrittenTexts) {
        return FileFault::None;
    }
    const bool runs = !file.executable || (status.permissions() & fs::perms::owner_exec) != fs::perms::none;
    const bool same = file.target.empty() && fs::is_regular_file(status) && runs &&
                      fs::file_size(path, error) == file.size && !file.digest.empty() && HasDigest(path, file.digest);
    return same ? FileFault::None : FileFault::Changed;
}

bool IsProgramFit(const InstalledFile &file, const fs::path &folder) {
    if (!file.target.empty() || !(file.executable || file.path.ends_with(kLibrary))) {
        return true;
    }
    struct stat status {};
    const fs::path path = folder / file.path;
    if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::uint64_t>(status.st_size) != file.size) {
        return CheckFile(file, folder) == FileFault::None; // a repaired link
    }
    if (file.executable && (status.st_mode & S_IXUSR) == 0) {
        return false;
    }
    return ModifiedAt(status) == file.modified || CheckFile(file, folder) == FileFault::None;
}

} // namespace lumhost
