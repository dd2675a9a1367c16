#include "delivery/package/Unpacker.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <utility>

#include "base/ScopedDescriptor.h"
#include "base/ScopedSignalBlock.h"
#include "base/StagingFolder.h"
#include "base/Text.h"
#include "delivery/package/MoveIntoPlace.h"
#include "delivery/package/UnpackFailure.h"
#include "delivery/package/Unpacking.h"

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
    // Whoever was stopped does not wait for the removal of what was unpacked.
    void Hurry() {
        m_hurry.request_stop();
    }
    // An empty folder to unpack into, on the disk of `parent`.
    base::ScopedDescriptor Open(const std::filesystem::path &parent);
    // Takes out what an installation has left in it.
    void Empty(const std::filesystem::path &parent);
    void RemoveAll() {
        m_folders.clear();
    }

private:
    std::stop_source m_hurry;
    std::map<std::filesystem::path, std::unique_ptr<base::StagingFolder>> m_folders;
};

base::ScopedDescriptor Unpacker::Folders::Open(const std::filesystem::path &parent) {
    if (const auto known = m_folders.find(parent); known == m_folders.end()) {
        base::CleanStaging(parent, kFolderPrefix, m_hurry.get_token());
    } else if (base::ScopedDescriptor folder{open((known->second->path() / kNew).c_str(), kOpenFolder)}) {
        return folder;
    } else {
        m_folders.erase(known); // somebody has removed it
    }
    auto folder = std::make_unique<base::StagingFolder>(parent, kFolderPrefix, m_hurry.get_token());
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

void CheckDestination(const std::filesystem::path &destination) {
    const std::string component = destination.filename().string();
    if (!destination.is_absolute() || component.empty() || component == "." || component == "..") {
        throw UnpackFailure{kUnpackBadArgument,
                            "the place to install to is not an absolute path that ends in a name: " +
                                base::Quoted(destination.string())};
    }
}

} // namespace

Unpacker::Unpacker(UnpackStep step, UnpackLimits limits)
    : m_step(std::move(step)), m_limits(limits), m_folders(std::make_unique<Folders>()) {}

Unpacker::~Unpacker() = default;

void Unpacker::InstallOrThrow(const std::filesystem::path &package, const std::filesystem::path &destination,
                              const std::stop_token &stop, const BeforeMove &beforeMove) {
    CheckDestination(destination);
    const std::filesystem::path folder = destination.parent_path();
    const std::string component = destination.filename().string();
    const base::ScopedDescriptor file = OpenPackage(package);
    const base::ScopedDescriptor parent = OpenFolder(folder);
    const base::ScopedDescriptor staging = m_folders->Open(folder);
    Unpacked unpacked = m_step({file.get(), staging.get(), component, m_limits}, stop);
    if (stop.stop_requested()) {
        throw UnpackFailure{kUnpackInterrupted, "the installation was stopped"};
    }
    struct stat status {};
    if (beforeMove && fstatat(staging.get(), component.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        beforeMove(status.st_ino, std::move(unpacked.files));
    }
    MoveIntoPlace(staging.get(), parent.get(), component);
}

base::Result<void> Unpacker::Install(const std::filesystem::path &package, const std::filesystem::path &destination,
                                     const std::stop_token &stop, const BeforeMove &beforeMove) {
    const std::stop_callback hurry(stop, [this] { m_folders->Hurry(); });
    const base::Result<void> result = CatchFailures([&] { InstallOrThrow(package, destination, stop, beforeMove); });
    m_folders->Empty(destination.parent_path());
    return result;
}

void Unpacker::Rest() {
    m_folders->RemoveAll();
}

void CleanStaging(const std::filesystem::path &folder) {
    std::stop_source hurry;
    hurry.request_stop();
    base::CleanStaging(folder, kFolderPrefix, hurry.get_token());
}

bool RemoveInOneStep(const std::filesystem::path &path) {
    const base::StagingFolder aside(path.parent_path(), kFolderPrefix);
    return aside.error() == 0 && (rename(path.c_str(), (aside.path() / kNew).c_str()) == 0 || errno == ENOENT);
}

UnpackJob::UnpackJob(Unpacker &unpacker, std::filesystem::path package, std::filesystem::path destination,
                     BeforeMove beforeMove) {
    std::promise<base::Result<void>> promise;
    m_result = promise.get_future().share();
    const base::ScopedSignalBlock block;
    m_thread = std::jthread([&unpacker, package = std::move(package), destination = std::move(destination),
                             beforeMove = std::move(beforeMove),
                             promise = std::move(promise)](const std::stop_token &stop) mutable {
        promise.set_value(unpacker.Install(package, destination, stop, beforeMove));
    });
}

UnpackJob::~UnpackJob() = default;

bool UnpackJob::Wait(std::chrono::milliseconds longest) const {
    return m_result.wait_for(longest) == std::future_status::ready;
}

} // namespace delivery
