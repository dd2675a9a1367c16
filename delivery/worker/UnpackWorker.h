// The process that unpacks, as its user sees it: one that is started when it is needed, serves one package after the
// other, and is ended with this object.
//
// What a package makes of it reaches the staging folder and no further (Confinement.h), and is over at once when it is
// stopped. A child of it that has failed, or has said what makes no sense, gets no other package.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <filesystem>
#include <mutex>
#include <stop_token>

#include "base/Result.h"
#include "base/ScopedDescriptor.h"
#include "delivery/package/Unpacking.h"
#include "delivery/worker/Protections.h"
#include "delivery/worker/WorkerMessage.h"

namespace delivery {

// Of the program.
inline constexpr char kUnpackProgram[] = "lumunpack";

// Any thread; several packages may be unpacked at once.
class UnpackWorker {
public:
    // `program` is opened now, so that an update of the installed programs changes nothing for this one. That
    // it cannot be had is told when it is needed.
    explicit UnpackWorker(const std::filesystem::path &program);
    ~UnpackWorker();
    UnpackWorker(const UnpackWorker &) = delete;
    UnpackWorker &operator=(const UnpackWorker &) = delete;

    // Has the process started, so that a package that comes later does not wait for it. Unpack does the same.
    void Prepare();

    // An UnpackStep. A request to stop ends the process with all that it unpacks; the next package gets another one.
    Unpacked Unpack(const UnpackOrder &order, const std::stop_token &stop);

    // What this kernel offers, found out by a process that protects itself as for a package; `folder` is an open one.
    base::Result<Protections> Try(int folder);

private:
    // A child of the process, bound to one staging folder for good.
    struct Child {
        base::ScopedDescriptor socket;
        dev_t device = 0;
        ino_t folder = 0;
        UnpackLimits limits = {};
        bool Serves(const struct stat &wanted, const UnpackLimits &within) const;
    };
    // The child that has got the request. Without a package when that is -1.
    Child Ask(const WorkerRequest &request, int staging, int package);
    void Start(); // these two: the lock is held
    void End();
    void Kill();

    base::ScopedDescriptor m_program;
    std::mutex m_lock;
    base::ScopedDescriptor m_control; // closed while no process runs
    pid_t m_process = 0;
    Child m_idle; // has unpacked something whole, and may go on
};

// An answer that comes through the socket to a child. Fails when the process ended without one, or when it is not
// one to `request`.
base::Result<WorkerAnswer> ReadAnswer(int socket, const WorkerRequest &request);

} // namespace delivery
