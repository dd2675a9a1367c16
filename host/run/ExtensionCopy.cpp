#include "host/run/ExtensionCopy.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <vector>

#include "base/Disk.h"
#include "base/Files.h"
#include "host/Process.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

bool SameBytes(const fs::path &a, const fs::path &b) {
    std::ifstream first(a, std::ios::binary);
    std::ifstream second(b, std::ios::binary);
    std::vector<char> one(256 * 1024);
    std::vector<char> other(one.size());
    while (first && second) {
        first.read(one.data(), static_cast<std::streamsize>(one.size()));
        second.read(other.data(), static_cast<std::streamsize>(other.size()));
        if (first.gcount() != second.gcount() ||
            !std::equal(one.begin(), one.begin() + first.gcount(), other.begin())) {
            return false;
        }
    }
    return first.eof() && second.eof();
}

// Everything in the folder, as paths relative to it, in a fixed order.
std::vector<fs::path> Contents(const fs::path &folder) {
    std::vector<fs::path> paths;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder)) {
        paths.push_back(entry.path().lexically_relative(folder));
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

bool SameEntry(const fs::path &a, const fs::path &b) {
    const fs::file_status first = fs::symlink_status(a);
    const fs::file_status second = fs::symlink_status(b);
    if (first.type() != second.type()) {
        return false;
    }
    if (first.type() == fs::file_type::symlink) {
        return fs::read_symlink(a) == fs::read_symlink(b);
    }
    return first.type() != fs::file_type::regular || (fs::file_size(a) == fs::file_size(b) && SameBytes(a, b));
}

bool SameTree(const fs::path &a, const fs::path &b) {
    if (!fs::is_directory(fs::symlink_status(b))) {
        return false;
    }
    const std::vector<fs::path> paths = Contents(a);
    return paths == Contents(b) &&
           std::all_of(paths.begin(), paths.end(), [&](const fs::path &path) { return SameEntry(a / path, b / path); });
}

// Puts `fresh` at `place`; afterwards `fresh` holds what was there, if anything.
void Swap(const fs::path &fresh, const fs::path &place) {
    if (renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, place.c_str(), RENAME_EXCHANGE) == 0) {
        return;
    }
    if (!fs::exists(fs::symlink_status(place))) {
        fs::rename(fresh, place);
        return;
    }
    // A file system that cannot exchange: for a moment there is no copy.
    const fs::path aside = fresh.string() + ".old";
    fs::rename(place, aside);
    fs::rename(fresh, place);
    fs::rename(aside, fresh);
}

// ".lumext.bundle.lock" beside "lumext.bundle"
fs::path Hidden(const fs::path &copy, const char *ending) {
    return copy.parent_path() / ("." + copy.filename().string() + ending);
}

// The standard library's copy calls every fault of the disk an input/output error.
void CopyFile(const fs::path &from, const fs::path &to) {
    const base::ScopedDescriptor source(open(from.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!source || fstat(source.get(), &status) != 0) {
        throw fs::filesystem_error("open", from, std::error_code(errno, std::generic_category()));
    }
    const base::ScopedDescriptor copy(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, status.st_mode & 0777));
    ssize_t copied = copy ? 1 : -1;
    while (copied > 0) {
        copied = sendfile(copy.get(), source.get(), nullptr, 1 << 30);
    }
    if (copied < 0) {
        throw fs::filesystem_error("copy", to, std::error_code(errno, std::generic_category()));
    }
}

void CopyTree(const fs::path &from, const fs::path &to) {
    fs::create_directory(to);
    for (const fs::path &path : Contents(from)) {
        const fs::file_status status = fs::symlink_status(from / path);
        if (fs::is_directory(status)) {
            fs::create_directory(to / path);
        } else if (fs::is_symlink(status)) {
            fs::copy_symlink(from / path, to / path);
        } else {
            CopyFile(from / path, to / path);
        }
    }
}

void CopyAfresh(const fs::path &bundle, const fs::path &copy) {
    // Under the lock no other process has a staging folder here; an existing one is from a killed process.
    const fs::path staging = Hidden(copy, ".new");
    fs::remove_all(staging);
    fs::remove_all(staging.string() + ".old");
    CopyTree(bundle, staging);
    Swap(staging, copy);
    fs::remove_all(staging);
}

} // namespace

base::Result<void> RefreshCopy(const fs::path &bundle, const fs::path &copy) {
    if (const base::Result<void> made = base::MakeFolder(copy.parent_path()); !made) {
        return made;
    }
    try {
        [[maybe_unused]] const auto lock = base::FileLock::Wait(Hidden(copy, ".lock"));
        if (!SameTree(bundle, copy)) {
            CopyAfresh(bundle, copy);
        }
        return {};
    } catch (const fs::filesystem_error &failure) {
        return base::Fail("cannot copy the extension to " + copy.string() + " (" + failure.path1().string() +
                              "): " + base::DiskErrorText(failure.code().value()),
                          failure.code().value());
    } catch (const std::exception &failure) { // out of memory
        return base::Fail("cannot copy the extension to " + copy.string() + ": " + failure.what());
    }
}

fs::path BundleToLoad(const fs::path &given, const Folders &folders) {
    if (!given.empty()) {
        return given;
    }
    const fs::path own = OwnPart(kExtensionBundle);
    const fs::path copy = folders.installed / kExtensionBundle;
    if (own.empty()) {
        return copy;
    }
    if (const base::Result<void> refreshed = RefreshCopy(own, copy); !refreshed) {
        Complain(refreshed.error().text + "; the extension is loaded from " + own.string());
        return own;
    }
    return copy;
}

} // namespace lumhost
