#include "delivery/package/Unpacker.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <new>

#include "base/Disk.h"
#include "base/ScopedSignalBlock.h"
#include "base/ScopedUtf8Locale.h"
#include "base/Text.h"
#include "delivery/package/PackageReader.h"
#include "delivery/package/UnpackFailure.h"
#include "delivery/package/MoveIntoPlace.h"
#include "base/StagingFolder.h"
#include "delivery/package/UnpackTree.h"

namespace delivery {

namespace {

constexpr char kFolderPrefix[] = ".lumhost-unpack.";
// A folder of its own within that one, so that no component's name can meet another there.
constexpr char kNew[] = "new";
constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

base::ScopedDescriptor OpenFolder(const std::filesystem::path &path) {
    base::ScopedDescriptor folder(open(path.c_str(), kOpenFolder));
    if (!folder) {
        throw WriteFailure(errno, path.string());
    }
    return folder;
}

} // namespace

class Unpacker::Folders {
public:
    // An empty folder to unpack into, on the disk of `parent`.
    base::ScopedDescriptor Open(const std::filesystem::path &parent);
    // Takes out what an installation has left in it.
    void Empty(const std::filesystem::path &parent);
    void RemoveAll() {
        m_folders.clear();
    }

private:
    std::map<std::filesystem::path, std::unique_ptr<base::StagingFolder>> m_folders;
};

base::ScopedDescriptor Unpacker::Folders::Open(const std::filesystem::path &parent) {
    if (const auto known = m_folders.find(parent); known == m_folders.end()) {
        CleanStaging(parent);
    } else if (base::ScopedDescriptor folder{open((known->second->path() / kNew).c_str(), kOpenFolder)}) {
        return folder;
    } else {
        m_folders.erase(known); // somebody has removed it
    }
    auto folder = std::make_unique<base::StagingFolder>(parent, kFolderPrefix);
    if (folder->error() != 0) {
        throw WriteFailure(folder->error(), parent.string());
    }
    if (mkdir((folder->path() / kNew).c_str(), 0700) != 0) {
        throw WriteFailure(errno, parent.string());
    }
    base::ScopedDescriptor opened = OpenFolder(folder->path() / kNew);
    m_folders.emplace(parent, std::move(folder));
    return opened;
}

void Unpacker::Folders::Empty(const std::filesystem::path &parent) {
    const auto known = m_folders.find(parent);
    if (known != m_folders.end() && !known->second->Empty(kNew)) {
        m_folders.erase(known);
    }
}

namespace {

class Installation {
public:
    Installation(Unpacker::Folders &folders, const UnpackLimits &limits, const std::stop_token &stop,
                 const BeforeMove &beforeMove)
        : m_folders(folders), m_limits(limits), m_stop(stop), m_beforeMove(beforeMove), m_bytesLeft(limits.maxBytes) {}

    void Run(const std::filesystem::path &package, const std::filesystem::path &destination);

private:
    void Unpack(PackageReader &reader, int staging, const std::string &component);
    void Take(PackageReader &reader, const PackageEntry &entry, UnpackTree &tree, const std::string &component);
    void TellOfMove(int staging, const std::string &component) const;
    void CheckSpace(std::uint64_t needed) const;
    void Admit(std::uint64_t more);

    Unpacker::Folders &m_folders;
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
    throw UnpackFailure{kUnpackRefusedEntry,
                        "the entry " + base::Quoted(path) + " leads out of the component, or too deep"};
}

void Installation::Run(const std::filesystem::path &package, const std::filesystem::path &destination) {
    const std::string component = destination.filename().string();
    if (!destination.is_absolute() || component.empty() || component == "." || component == "..") {
        throw UnpackFailure{kUnpackBadArgument, "the place to install to is no full path with a name: " +
                                                    base::Quoted(destination.string())};
    }
    m_folder = destination.parent_path();
    PackageReader reader(package, m_limits.maxWindow);
    const base::ScopedDescriptor parent = OpenFolder(m_folder);
    const base::ScopedDescriptor staging = m_folders.Open(m_folder);
    Unpack(reader, staging.get(), component);
    Admit(0);
    TellOfMove(staging.get(), component);
    MoveIntoPlace(staging.get(), parent.get(), component);
}

void Installation::Unpack(PackageReader &reader, int staging, const std::string &component) {
    const base::ScopedUtf8Locale locale;
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
        throw UnpackFailure{kUnpackNotOneComponent, "the package holds " +
                                                        base::Quoted(path.empty() ? "." : path.front()) +
                                                        ", and should hold " + base::Quoted(component) + " only"};
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
                                "the entry " + base::Quoted(entry.path) + " is a second name of nothing"};
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
    if (needed > base::FreeSpace(m_folder)) {
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

Unpacker::Unpacker(UnpackLimits limits) : m_limits(limits), m_folders(std::make_unique<Folders>()) {}

Unpacker::~Unpacker() = default;

int Unpacker::Install(const std::filesystem::path &package, const std::filesystem::path &destination,
                      std::string *reason, const std::stop_token &stop, const BeforeMove &beforeMove) {
    Installation installation(*m_folders, m_limits, stop, beforeMove);
    const UnpackFailure result = Attempt(installation, package, destination);
    m_folders->Empty(destination.parent_path());
    if (reason) {
        *reason = result.reason;
    }
    return result.code;
}

void Unpacker::Rest() {
    m_folders->RemoveAll();
}

void CleanStaging(const std::filesystem::path &folder) {
    base::CleanStaging(folder, kFolderPrefix);
}

UnpackJob::UnpackJob(Unpacker &unpacker, std::filesystem::path package, std::filesystem::path destination,
                     BeforeMove beforeMove) {
    std::promise<Result> promise;
    m_result = promise.get_future().share();
    const base::ScopedSignalBlock block;
    m_thread = std::jthread([&unpacker, package = std::move(package), destination = std::move(destination),
                             beforeMove = std::move(beforeMove),
                             promise = std::move(promise)](const std::stop_token &stop) mutable {
        Result result;
        result.code = unpacker.Install(package, destination, &result.reason, stop, beforeMove);
        promise.set_value(std::move(result));
    });
}

UnpackJob::~UnpackJob() = default;

bool UnpackJob::Wait(std::chrono::milliseconds longest) const {
    return m_result.wait_for(longest) == std::future_status::ready;
}

} // namespace delivery
