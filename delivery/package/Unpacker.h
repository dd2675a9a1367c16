// Unpacks a package so that its component stands whole at its place, or not at all.
//
// A package is an archive (tar, alone or packed with gzip, xz, zstd, bzip2, lz4 and the like; zip; 7z; and the other
// trees that libarchive reads by itself) with one top-level entry, the component, whose name is that of the
// destination. It is unpacked into a hidden staging folder beside the destination and moved into place in one step, in
// which it takes the place of what is there. Whatever fails, and whenever the process is killed,
// the destination holds what was there before, or (from that one step on) the whole new component; on a file system
// that cannot exchange two folders it may hold nothing.
//
// What is in an archive is obeyed in this only: names, contents, which files may be executed, symbolic links and hard
// links. Files become 0644 or 0755 less the umask, folders 0755; owner, date, set-user-id, extended attributes and
// access lists are left out. An entry refuses the whole package when its name is absolute or has a ".." in it, or leads
// through something that is no folder of the component; when it comes a second time; when it is a device, a pipe or a
// socket; when it is a hard link to anything but a file of the component; or a symbolic link whose target is absolute,
// leads out of the component, or has a ".." after a name (that is where links through links can hide).
//
// What success does not promise: that the package is the publisher's (the extension has checked that before), or that
// the component is on the disk already: InstallNotes.h tells how a power failure is mended.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <stop_token>
#include <thread>

#include "base/Result.h"
#include "delivery/package/UnpackCode.h"
#include "delivery/package/UnpackLimits.h"
#include "delivery/package/Unpacking.h"

namespace delivery {

// Told, right before the move, the number (inode) of the file or folder that is moved, and what is in it. May be empty;
// called on the thread of the installation, and throws nothing.
using BeforeMove = std::function<void(std::uint64_t number, std::vector<UnpackedFile> files)>;

// Installs components. What is unpacked lies in a hidden folder beside its destination until it is whole; that folder
// is kept for the next one. One installation at a time, on any thread.
class Unpacker {
public:
    // Every package is unpacked by `step`, within the limits.
    explicit Unpacker(UnpackStep step, UnpackLimits limits = {});
    ~Unpacker();
    Unpacker(const Unpacker &) = delete;
    Unpacker &operator=(const Unpacker &) = delete;

    // Installs the component of `package` as `destination` (an absolute path; its folder must exist). The first time in
    // a folder it begins by removing what killed processes have left there. The Error's code is an UnpackCode, its text
    // one sentence for a person that says what is wrong with what. After a request to stop the code is
    // kUnpackInterrupted, unless it came too late; what takes long to remove then is left to the next process.
    base::Result<void> Install(const std::filesystem::path &package, const std::filesystem::path &destination,
                               const std::stop_token &stop = {}, const BeforeMove &beforeMove = {});

    // Removes its own hidden folders until they are needed again. Not during an installation.
    void Rest();

    class Folders;

private:
    void InstallOrThrow(const std::filesystem::path &package, const std::filesystem::path &destination,
                        const std::stop_token &stop, const BeforeMove &beforeMove);

    const UnpackStep m_step;
    const UnpackLimits m_limits;
    const std::unique_ptr<Folders> m_folders;
};

// Removes the staging folders that killed processes have left in `folder`, never those of a running one. For a moment
// at most: what is left then is removed by the next that comes.
void CleanStaging(const std::filesystem::path &folder);

// Removes a file or folder so that, whenever this process is killed, it is there as it was or not at all. False when it
// is still there.
bool RemoveInOneStep(const std::filesystem::path &path);

// An installation on a thread of its own, for a caller that must keep its window alive meanwhile.
class UnpackJob {
public:
    // The unpacker must outlive this. Throws std::system_error when no thread can be started.
    UnpackJob(Unpacker &unpacker, std::filesystem::path package, std::filesystem::path destination,
              BeforeMove beforeMove = {});
    ~UnpackJob(); // cancels and waits
    UnpackJob(const UnpackJob &) = delete;
    UnpackJob &operator=(const UnpackJob &) = delete;

    // Waits until the installation has ended, or the time is over (false).
    bool Wait(std::chrono::milliseconds longest) const;
    void Cancel() {
        m_thread.request_stop();
    }

    // After the end (this waits for it): what Unpacker::Install answers.
    const base::Result<void> &result() const {
        return m_result.get();
    }

private:
    std::shared_future<base::Result<void>> m_result;
    std::jthread m_thread;
};

} // namespace delivery
