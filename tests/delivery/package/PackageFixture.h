// Packages for tests, written by libarchive, and an install folder to unpack them into.
#pragma once

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "delivery/package/Unpacker.h"
#include "delivery/worker/UnpackWorker.h"
#include "tests/support/TempDir.h"

namespace delivery {

struct Entry {
    std::string path;
    std::string content = {};
    mode_t type = AE_IFREG;
    mode_t mode = 0644;
    std::string link = {};     // target of a symbolic link
    std::string hardlink = {}; // target of a hard link
};
inline Entry Folder(std::string path) {
    return {std::move(path), {}, AE_IFDIR, 0755};
}
inline Entry Link(std::string path, std::string target) {
    return {std::move(path), {}, AE_IFLNK, 0777, std::move(target)};
}

struct Kind {
    const char *name;
    int format;
    int filter = ARCHIVE_FILTER_NONE;
};
constexpr Kind kTar{"tar", ARCHIVE_FORMAT_TAR_PAX_RESTRICTED};
constexpr Kind kTgz{"tar.gz", ARCHIVE_FORMAT_TAR_PAX_RESTRICTED, ARCHIVE_FILTER_GZIP};
constexpr Kind kXz{"tar.xz", ARCHIVE_FORMAT_TAR_PAX_RESTRICTED, ARCHIVE_FILTER_XZ};
constexpr Kind kZst{"tar.zst", ARCHIVE_FORMAT_TAR_PAX_RESTRICTED, ARCHIVE_FILTER_ZSTD};
constexpr Kind kZip{"zip", ARCHIVE_FORMAT_ZIP};
constexpr Kind kAll[] = {kTar,
                         kTgz,
                         kXz,
                         kZst,
                         kZip,
                         {"tar.bz2", ARCHIVE_FORMAT_TAR_GNUTAR, ARCHIVE_FILTER_BZIP2},
                         {"tar.lz", ARCHIVE_FORMAT_TAR_USTAR, ARCHIVE_FILTER_LZIP},
                         {"7z", ARCHIVE_FORMAT_7ZIP},
                         {"cpio", ARCHIVE_FORMAT_CPIO_SVR4_NOCRC}};

void WritePackage(const std::filesystem::path &file, const Kind &kind, const std::vector<Entry> &entries);

// From here on this system call fails in this process and those that it starts; when `first` is given, only with this
// first argument. Ends the process where that cannot be.
void ForbidCall(int call, int error, std::optional<std::uint64_t> first = {});

// Everything below `folder`: "path" to content, "path/" for a folder, "path@" to target for a link, "path*" executable.
std::map<std::string, std::string> Tree(const std::filesystem::path &folder);

// An install folder with an older component in it, and a package beside it.
class UnpackerTest : public testing::Test {
protected:
    UnpackerTest() {
        umask(022);
        m_dir.Write("outside/secret", "untouched");
    }

    int Install(const std::vector<Entry> &entries, const Kind &kind = kTgz, UnpackLimits limits = {}) {
        WritePackage(m_package, kind, entries);
        return Install(limits);
    }
    int Install(UnpackLimits limits = {}) {
        return Code(Unpacker(Worker(), limits).Install(m_package, m_place));
    }
    // By a process of its own, as lumhost unpacks.
    UnpackStep Worker() {
        return [this](const UnpackOrder &order, const std::stop_token &stop) { return m_worker.Unpack(order, stop); };
    }
    int Code(const base::Result<void> &result) {
        m_reason = result ? "" : result.error().text;
        return result ? kUnpackOk : result.error().code;
    }
    std::map<std::string, std::string> Installed() const {
        return Tree(m_dir.path() / "install");
    }
    void PutOld() {
        m_dir.Write("install/My.app/old", "old");
    }

    UnpackWorker m_worker{TEST_LUMUNPACK};
    TempDir m_dir;
    const std::filesystem::path m_package = m_dir.path() / "package";
    const std::filesystem::path m_folder = [this] {
        std::filesystem::create_directory(m_dir.path() / "install");
        return m_dir.path() / "install";
    }();
    const std::filesystem::path m_place = m_folder / "My.app";
    const std::map<std::string, std::string> m_old{{"My.app/", ""}, {"My.app/old", "old"}};
    std::string m_reason;
};

} // namespace delivery
