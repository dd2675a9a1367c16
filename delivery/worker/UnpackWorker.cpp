#include "delivery/worker/UnpackWorker.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <string>
#include <system_error>
#include <utility>

#include "base/Spawn.h"
#include "delivery/package/UnpackFailure.h"
#include "delivery/worker/Channel.h"

namespace delivery {

namespace {

constexpr int kControl = 3; // in the process

UnpackFailure Interrupted(std::string reason) {
    return {kUnpackInterrupted, std::move(reason)};
}

} // namespace

bool UnpackWorker::Child::Serves(const struct stat &wanted, const UnpackLimits &within) const {
    return socket && wanted.st_dev == device && wanted.st_ino == folder && within == limits;
}

UnpackWorker::UnpackWorker(const std::filesystem::path &program) {
    // Above those that the new process gets other files for before it is executed.
    const base::ScopedDescriptor file(open(program.c_str(), O_PATH | O_CLOEXEC));
    m_program = base::ScopedDescriptor(file ? fcntl(file.get(), F_DUPFD_CLOEXEC, kControl + 1) : -1);
}

UnpackWorker::~UnpackWorker() {
    End();
}

void UnpackWorker::Start() {
    if (m_control) {
        return;
    }
    if (!m_program) {
        throw Interrupted(std::string(kUnpackProgram) +
                          ", the program that unpacks, is missing; install the package lum again");
    }
    base::Result<Channel> channel = MakeChannel();
    if (!channel) {
        throw Interrupted(channel.error().text);
    }
    base::SpawnFiles files;
    files.Take(channel->theirs.get(), kControl); // before what it may be in the way of
    files.Open(STDIN_FILENO, "/dev/null", O_RDONLY);
    files.Open(STDOUT_FILENO, "/dev/null", O_WRONLY);
    // In a group of its own: Ctrl-C is for its user, which then ends it.
    const base::SpawnAttributes attributes(POSIX_SPAWN_SETPGROUP);
    // By its descriptor. The name may lead to another version by now.
    const std::string path = "/proc/self/fd/" + std::to_string(m_program.get());
    std::string name = kUnpackProgram;
    std::string control = std::to_string(kControl);
    std::array<char *, 3> arguments{name.data(), control.data(), nullptr};
    if (const int error =
            posix_spawn(&m_process, path.c_str(), files.get(), attributes.get(), arguments.data(), environ)) {
        throw Interrupted(std::string(kUnpackProgram) +
                          " cannot be started: " + std::generic_category().message(error));
    }
    m_control = std::move(channel->ours);
}

void UnpackWorker::End() {
    m_idle = Child{};
    if (m_control) {
        m_control.Close(); // which ends it, and what it has started
        while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
}

void UnpackWorker::Kill() {
    const std::scoped_lock lock(m_lock);
    if (m_control) {
        kill(m_process, SIGKILL);
    }
    End();
}

void UnpackWorker::Prepare() {
    const std::scoped_lock lock(m_lock);
    try {
        Start();
    } catch (const UnpackFailure &) { // told when a package comes
    }
}

UnpackWorker::Child UnpackWorker::Ask(const WorkerRequest &request, int staging, int package) {
    struct stat info {};
    fstat(staging, &info);
    const std::scoped_lock lock(m_lock);
    if (Child idle = std::exchange(m_idle, Child{});
        idle.Serves(info, request.limits) && SendMessage(idle.socket.get(), Encode(request), {package})) {
        return idle;
    }
    base::Result<Channel> channel = MakeChannel();
    if (!channel) {
        throw Interrupted(channel.error().text);
    }
    for (const bool again : {false, true}) {
        Start();
        const int theirs = channel->theirs.get();
        const base::Result<void> sent = package < 0
                                            ? SendMessage(m_control.get(), Encode(request), {theirs, staging})
                                            : SendMessage(m_control.get(), Encode(request), {theirs, staging, package});
        if (sent) {
            break;
        }
        End(); // it was ended by something else, and can be started again
        if (again) {
            throw Interrupted(std::string(kUnpackProgram) + ": " + sent.error().text);
        }
    }
    return {std::move(channel->ours), info.st_dev, info.st_ino, request.limits};
}

Unpacked UnpackWorker::Unpack(const UnpackOrder &order, const std::stop_token &stop) {
    const WorkerRequest request{order.component, order.limits};
    Child child = Ask(request, order.staging, order.package);
    const std::stop_callback kill(stop, [this] { Kill(); });
    const base::Result<WorkerAnswer> answer = ReadAnswer(child.socket.get(), request);
    if (!answer) {
        Kill(); // who knows what it does
    }
    if (stop.stop_requested()) {
        throw Interrupted("the installation was stopped");
    }
    if (!answer) {
        throw Interrupted(answer.error().text);
    }
    if (!answer->unpacked) { // the next package gets another one
        throw UnpackFailure{answer->unpacked.error().code, answer->unpacked.error().text};
    }
    const std::scoped_lock lock(m_lock);
    m_idle = std::move(child);
    return *answer->unpacked;
}

base::Result<Protections> UnpackWorker::Try(int folder) {
    return CatchFailures([&] {
        const Child child = Ask({}, folder, -1);
        const base::Result<WorkerAnswer> answer = ReadAnswer(child.socket.get(), {});
        if (!answer) {
            throw Interrupted(answer.error().text);
        }
        return answer->protections;
    });
}

base::Result<WorkerAnswer> ReadAnswer(int socket, const WorkerRequest &request) {
    const base::Result<std::optional<std::string>> text = ReceiveText(socket, kMostOfAnswer);
    if (text && !*text) {
        return base::Fail("the process that unpacks has ended before it was done");
    }
    std::optional<WorkerAnswer> answer = text ? DecodeAnswer(**text) : std::nullopt;
    const auto fits = [&](const Unpacked &unpacked) {
        return unpacked.bytes <= request.limits.maxBytes &&
               (request.component.empty() || unpacked.component == request.component);
    };
    if (!answer || (answer->unpacked && !fits(*answer->unpacked))) {
        return base::Fail("the answer of the process that unpacks makes no sense");
    }
    return *std::move(answer);
}

} // namespace delivery
