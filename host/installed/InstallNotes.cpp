#include "host/installed/InstallNotes.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "host/installed/Installed.h"
#include "delivery/package/Unpacker.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

constexpr char kPrefix[] = "installing.";
constexpr std::uint64_t kLargestNotes = 16 << 20;
constexpr std::size_t kRoom = 64 << 10; // by which the file grows, all zeros
constexpr char kOpened = '+';
constexpr char kRecorded = '*';
constexpr char kNotMoved = '-';
constexpr char kBoot = '=';
constexpr char kSource = '@';

std::uint64_t NumberOf(const fs::path &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

// Differs from boot to boot; empty where the system does not tell.
std::string Boot() {
    std::string boot;
    std::getline(std::ifstream("/proc/sys/kernel/random/boot_id"), boot);
    return boot;
}

// Flushes their file systems to the disk.
void FlushFolders(const std::set<fs::path> &folders) {
    std::set<dev_t> done;
    for (const fs::path &folder : folders) {
        const base::ScopedDescriptor file(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        struct stat status {};
        if (file && fstat(file.get(), &status) == 0 && done.insert(status.st_dev).second) {
            syncfs(file.get());
        }
    }
}

bool IsStillNamed(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && status.st_nlink > 0;
}

struct Note {
    std::uint64_t number;
    bool recorded;
};

struct Notes {
    std::string boot;
    InstalledSource source;
    std::map<fs::path, Note> moved;
};

// The file begins with "=0 BOOT" and "@0 SOURCE". A note is "+NUMBER PATH", "*0 PATH" or "-0 PATH". Each is ended by a
// zero byte; one that was cut off when its process ended has none.
Notes ReadNotes(std::string_view text) {
    Notes notes;
    for (std::size_t end; (end = text.find('\0')) != std::string_view::npos; text.remove_prefix(end + 1)) {
        const std::string_view note = text.substr(0, end);
        const std::size_t blank = note.find(' ');
        std::uint64_t number = 0;
        if (blank == std::string_view::npos || blank == 0 ||
            std::from_chars(note.data() + 1, note.data() + blank, number).ec != std::errc()) {
            continue;
        }
        const fs::path destination(note.substr(blank + 1));
        if (note.front() == kBoot) {
            notes.boot = destination;
        } else if (note.front() == kSource) {
            notes.source = SourceOfLine(note.substr(blank + 1));
        } else if (note.front() == kOpened && destination.is_absolute() && destination.has_filename()) {
            notes.moved[destination] = {number, false};
        } else if (const auto found = notes.moved.find(destination); found == notes.moved.end()) {
            continue;
        } else if (note.front() == kRecorded) {
            found->second.recorded = true;
        } else {
            notes.moved.erase(found);
        }
    }
    return notes;
}

// The library of this number under its versioned name, which the extension gives it after the move.
fs::path VersionedLibrary(const fs::path &destination, std::uint64_t number) {
    std::error_code error;
    const std::string prefix = destination.stem().string() + "-";
    fs::directory_iterator entry(destination.parent_path(), error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        if (entry->path().filename().string().starts_with(prefix) && NumberOf(entry->path()) == number) {
            return entry->path();
        }
    }
    return {};
}

void LookFor(const fs::path &destination, std::uint64_t number, std::vector<InstalledComponent> &found) {
    if (number == 0) {
        return;
    }
    if (NumberOf(destination) == number) {
        found.push_back(Installed::Look(destination));
        return;
    }
    const fs::path library = VersionedLibrary(destination, number);
    if (library.empty()) { // not moved, or gone since
        return;
    }
    std::error_code error;
    const bool isLinked = fs::read_symlink(destination, error).filename() == library.filename();
    found.push_back(Installed::Look(isLinked ? destination : library));
    found.back().name = destination.filename().string();
}

// A link to the library is removed, too; the extension makes it again.
void RemoveWhatMayBeHalf(const fs::path &destination, std::uint64_t number) {
    const fs::path place = NumberOf(destination) == number ? destination : VersionedLibrary(destination, number);
    std::error_code ignored;
    if (number == 0 || place.empty()) {
        return;
    }
    if (place != destination && fs::read_symlink(destination, ignored).filename() == place.filename()) {
        fs::remove(destination, ignored);
    }
    fs::remove_all(place, ignored);
}

void Settle(const fs::path &notes, const Folders &folders) {
    const base::ScopedDescriptor file(open(notes.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file || flock(file.get(), LOCK_EX | LOCK_NB) != 0 || !IsStillNamed(file.get())) {
        return;
    }
    std::vector<InstalledComponent> found;
    const Notes told = ReadNotes(base::ReadWhole(notes, kLargestNotes).value_or(""));
    const bool sameBoot = told.boot == Boot();
    std::set<fs::path> changed;
    for (const auto &[destination, note] : told.moved) {
        changed.insert(destination.parent_path());
        if (!sameBoot) {
            RemoveWhatMayBeHalf(destination, note.number);
        } else if (!note.recorded) {
            LookFor(destination, note.number, found);
        }
    }
    for (InstalledComponent &component : found) {
        component.source = told.source;
    }
    for (const fs::path &folder : changed) { // the next start may have nothing to unpack there
        delivery::CleanStaging(folder);
    }
    if (Installed(folders).Record(found)) {
        FlushFolders(changed);
        unlink(notes.c_str());
    }
}

} // namespace

InstallNotes::~InstallNotes() {
    FlushFolders(m_folders);
    if (m_file && m_open.empty()) {
        unlink(m_path.c_str());
    }
}

void InstallNotes::Open(const fs::path &destination, std::uint64_t number) {
    const std::scoped_lock lock(m_lock);
    if (!m_file) {
        MakeFile();
    }
    m_open.insert(destination);
    m_folders.insert(destination.parent_path());
    Append(kOpened, number, destination);
    if (m_file) {
        fdatasync(m_file.get());
    }
}

void InstallNotes::Recorded(const fs::path &destination) {
    Close(kRecorded, destination);
}

void InstallNotes::NotMoved(const fs::path &destination) {
    Close(kNotMoved, destination);
}

void InstallNotes::Close(char how, const fs::path &destination) {
    const std::scoped_lock lock(m_lock);
    m_open.erase(destination);
    Append(how, 0, destination);
}

void InstallNotes::MakeFile() {
    if (!base::MakeFolder(m_folder)) {
        return;
    }
    do {
        std::string name = (m_folder / kPrefix).string() + "XXXXXX";
        m_file = base::ScopedDescriptor(mkostemp(name.data(), O_CLOEXEC));
        m_path = name;
    } while (m_file && flock(m_file.get(), LOCK_EX) == 0 &&
             !IsStillNamed(m_file.get())); // another process took it for a leftover
    Append(kBoot, 0, Boot());
    Append(kSource, 0, m_source);
}

void InstallNotes::Append(char what, std::uint64_t number, const fs::path &destination) {
    const std::string note = what + std::to_string(number) + " " + destination.string();
    if (!m_file) {
        return;
    }
    const std::string_view bytes(note.c_str(), note.size() + 1);
    while (m_end + bytes.size() > m_room && MakeRoom()) {
    }
    if (pwrite(m_file.get(), bytes.data(), bytes.size(), static_cast<off_t>(m_end)) > 0) {
        m_end += bytes.size();
    }
}

// Overwriting bytes that are already on the disk needs no journal. Growing the file with each note would flush the file
// system's journal, and with it all that was written to the folders since.
bool InstallNotes::MakeRoom() {
    if (lseek(m_file.get(), static_cast<off_t>(m_room), SEEK_SET) < 0 ||
        !base::WriteAll(m_file.get(), std::string(kRoom, '\0')).has_value()) {
        return false;
    }
    fsync(m_file.get());
    m_room += kRoom;
    return true;
}

void SettleInstallNotes(const Folders &folders) {
    base::RemoveUnfinished(folders.data);
    std::vector<fs::path> left;
    std::error_code error;
    fs::directory_iterator entry(folders.data, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        if (entry->path().filename().string().starts_with(kPrefix)) {
            left.push_back(entry->path());
        }
    }
    for (const fs::path &notes : left) {
        Settle(notes, folders);
    }
}

} // namespace lumhost
