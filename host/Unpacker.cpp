#include "host/Unpacker.h"

#include <errno.h>
#include <fcntl.h>
#include <locale.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <new>

#include "host/transfer_file.h"
#include "host/transfer_signals.h"
#include "host/unpack_archive.h"
#include "host/unpack_failure.h"
#include "host/unpack_place.h"
#include "host/unpack_staging.h"
#include "host/unpack_tree.h"

namespace lumhost {

namespace {

constexpr char kFolderPrefix[] = ".lumhost-unpack.";

// libarchive converts names to the character set of the locale, and a name that this lacks is lost. Names on the disk
// are UTF-8 whatever the locale says, so this thread says so, too, meanwhile.
class ScopedUtf8Locale {
public:
    ScopedUtf8Locale() : m_locale(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
        if (m_locale) {
            m_before = uselocale(m_locale);
        }
    }
    ~ScopedUtf8Locale() {
        if (m_locale) {
            uselocale(m_before);
            freelocale(m_locale);
        }
    }
    ScopedUtf8Locale(const ScopedUtf8Locale &) = delete;
    ScopedUtf8Locale &operator=(const ScopedUtf8Locale &) = delete;

private:
    locale_t m_locale;
    locale_t m_before = nullptr;
};

class Installation {
public:
    Installation(const UnpackLimits &limits, const std::stop_token &stop, const BeforeMove &beforeMove)
        : m_limits(limits), m_stop(stop), m_beforeMove(beforeMove), m_bytesLeft(limits.maxBytes) {}

    void Run(const std::filesystem::path &package, const std::filesystem::path &destination);

private:
    void Unpack(PackageReader &reader, int staging, const std::string &component);
    void Take(PackageReader &reader, const PackageEntry &entry, UnpackTree &tree, const std::string &component);
    void TellOfMove(int staging, const std::string &component) const;
    void CheckSpace(std::uint64_t needed) const;
    void Admit(std::uint64_t more);

    const UnpackLimits m_limits;
    const std::stop_token m_stop;
    const BeforeMove m_beforeMove;
    std::uint64_t m_bytesLeft;
    std::filesystem::path m_folder;
};

EntryPath SplitOrRefuse(const std::string &path) {
    if (auto names = SplitEntryPath(path)) {
        return *std::move(names);
    }
    throw UnpackFailure{kUnpackRefusedEntry, "the entry " + Quoted(path) + " leads out of the component, or too deep"};
}

ScopedDescriptor OpenFolder(const std::filesystem::path &path) {
    ScopedDescriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        throw WriteFailure(errno, path.string());
    }
    return folder;
}

void Installation::Run(const std::filesystem::path &package, const std::filesystem::path &destination) {
    const std::string component = destination.filename().string();
    if (!destination.is_absolute() || component.empty() || component == "." || component == "..") {
        throw UnpackFailure{kUnpackBadArgument,
                            "the place to install to is no full path with a name: " + Quoted(destination.string())};
    }
    m_folder = destination.parent_path();
    PackageReader reader(package, m_limits.maxWindow);
    const ScopedDescriptor parent = OpenFolder(m_folder);
    CleanStaging(m_folder);
    const StagingFolder place(m_folder, kFolderPrefix);
    if (place.error() != 0) {
        throw WriteFailure(place.error(), m_folder.string());
    }
    // A folder of its own within the staging folder, so that no component's name can meet another there.
    if (mkdir((place.path() / "new").c_str(), 0700) != 0) {
        throw WriteFailure(errno, m_folder.string());
    }
    const ScopedDescriptor staging = OpenFolder(place.path() / "new");
    Unpack(reader, staging.get(), component);
    Admit(0);
    TellOfMove(staging.get(), component);
    MoveIntoPlace(staging.get(), parent.get(), component);
}

void Installation::Unpack(PackageReader &reader, int staging, const std::string &component) {
    const ScopedUtf8Locale locale;
    UnpackTree tree(staging, m_limits.maxEntries);
    std::optional<PackageEntry> entry = reader.Next();
    if (entry) {
        CheckSpace(reader.LeastSize());
    }
    for (; entry; entry = reader.Next()) {
        Take(reader, *entry, tree, component);
    }
    if (tree.empty()) {
        throw UnpackFailure{kUnpackNotOneComponent, "the package holds nothing"};
    }
}

void Installation::Take(PackageReader &reader, const PackageEntry &entry, UnpackTree &tree,
                        const std::string &component) {
    Admit(0);
    const EntryPath path = SplitOrRefuse(entry.path);
    if (path.empty() && entry.kind == PackageEntry::Kind::Folder) { // "./", the folder that was packed
        return;
    }
    if (path.empty() || path.front() != component) {
        throw UnpackFailure{kUnpackNotOneComponent, "the package holds " + Quoted(path.empty() ? "." : path.front()) +
                                                        ", and should hold " + Quoted(component) + " only"};
    }
    const auto admit = [this](std::uint64_t more) { Admit(more); };
    switch (entry.kind) {
    case PackageEntry::Kind::Folder:
        tree.MakeFolder(path);
        return;
    case PackageEntry::Kind::Link:
        tree.MakeLink(path, entry.target);
        return;
    case PackageEntry::Kind::File:
        reader.CopyTo(tree.MakeFile(path, entry.executable).get(), admit);
        return;
    case PackageEntry::Kind::HardLink: {
        // The contents come with the first of the names, or (cpio) with the last.
        const EntryPath target = SplitOrRefuse(entry.target);
        if (target.empty()) {
            throw UnpackFailure{kUnpackRefusedEntry,
                                "the entry " + Quoted(entry.path) + " is a second name of nothing"};
        }
        reader.CopyTo(tree.MakeHardLink(path, target).get(), admit);
        return;
    }
    }
}

void Installation::TellOfMove(int staging, const std::string &component) const {
    struct stat status {};
    if (m_beforeMove && fstatat(staging, component.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        m_beforeMove(status.st_ino);
    }
}

void Installation::CheckSpace(std::uint64_t needed) const {
    if (needed > FreeSpace(m_folder)) {
        throw UnpackFailure{kUnpackNoSpace, "unpacking takes " + std::to_string((needed >> 20) + 1) +
                                                " MiB, and there is less room on the disk"};
    }
}

// Called for every entry and every piece.
void Installation::Admit(std::uint64_t more) {
    if (m_stop.stop_requested()) {
        throw UnpackFailure{kUnpackInterrupted, "the installation was stopped"};
    }
    if (more > m_bytesLeft) {
        throw UnpackFailure{kUnpackTooLarge, "the component is larger than the " +
                                                 std::to_string(m_limits.maxBytes >> 20) + " MiB that are allowed"};
    }
    m_bytesLeft -= more;
}

// Runs the installation and turns what it throws into a failure.
UnpackFailure Attempt(Installation &installation, const std::filesystem::path &package,
                      const std::filesystem::path &destination) {
    try {
        installation.Run(package, destination);
        return {kUnpackOk, {}};
    } catch (const UnpackFailure &failure) {
        return failure;
    } catch (const std::bad_alloc &) {
        return {kUnpackInterrupted, "there is not enough memory to unpack"};
    } catch (const std::exception &failure) {
        return {kUnpackInterrupted, failure.what()};
    }
}

} // namespace

int InstallPackage(const std::filesystem::path &package, const std::filesystem::path &destination,
                   const UnpackLimits &limits, std::string *reason, const std::stop_token &stop,
                   const BeforeMove &beforeMove) {
    Installation installation(limits, stop, beforeMove);
    const UnpackFailure result = Attempt(installation, package, destination);
    if (reason) {
        *reason = result.reason;
    }
    return result.code;
}

void CleanStaging(const std::filesystem::path &folder) {
    CleanStaging(folder, kFolderPrefix);
}

UnpackJob::UnpackJob(std::filesystem::path package, std::filesystem::path destination, UnpackLimits limits,
                     BeforeMove beforeMove) {
    std::promise<Result> promise;
    m_result = promise.get_future().share();
    const ScopedSignalBlock block;
    m_thread = std::jthread([package = std::move(package), destination = std::move(destination), limits,
                             beforeMove = std::move(beforeMove),
                             promise = std::move(promise)](const std::stop_token &stop) mutable {
        Result result;
        result.code = InstallPackage(package, destination, limits, &result.reason, stop, beforeMove);
        promise.set_value(std::move(result));
    });
}

UnpackJob::~UnpackJob() = default;

bool UnpackJob::Wait(std::chrono::milliseconds longest) const {
    return m_result.wait_for(longest) == std::future_status::ready;
}

} // namespace lumhost
