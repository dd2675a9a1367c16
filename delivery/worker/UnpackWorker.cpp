#include "delivery/worker/UnpackWorker.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <string>
#include <system_error>

#include "base/Files.h"
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

UnpackWorker::UnpackWorker(const std::filesystem::path &program)
    : m_program(open(program.c_str(), O_PATH | O_CLOEXEC)) {}

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
    files.Open(STDIN_FILENO, "/dev/null", O_RDONLY);
    files.Open(STDOUT_FILENO, "/dev/null", O_WRONLY);
    files.Take(channel->theirs.get(), kControl);
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
    if (m_control) {
        m_control.Close();
        kill(m_process, SIGKILL);
        while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
}

void UnpackWorker::Kill() {
    const std::scoped_lock lock(m_lock);
    End();
}

void UnpackWorker::Prepare() {
    const std::scoped_lock lock(m_lock);
    try {
        Start();
    } catch (const UnpackFailure &) { // told when a package comes
    }
}

// The reading end of the pipe for the answer. Without a package when that is -1.
base::ScopedDescriptor UnpackWorker::Ask(const WorkerRequest &request, int staging, int package) {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw Interrupted("unpacking cannot begin: " + std::generic_category().message(errno));
    }
    base::ScopedDescriptor ours(ends[0]);
    const base::ScopedDescriptor theirs(ends[1]);
    const std::scoped_lock lock(m_lock);
    for (const bool again : {false, true}) {
        Start();
        const base::Result<void> sent =
            package < 0 ? SendMessage(m_control.get(), Encode(request), {theirs.get(), staging})
                        : SendMessage(m_control.get(), Encode(request), {theirs.get(), staging, package});
        if (sent) {
            break;
        }
        End(); // it was ended by something else, and can be started again
        if (again) {
            throw Interrupted("the process that unpacks cannot be reached: " + sent.error().text);
        }
    }
    return ours;
}

Unpacked UnpackWorker::Unpack(const UnpackOrder &order, const std::stop_token &stop) {
    const WorkerRequest request{order.component, order.limits};
    const base::ScopedDescriptor pipe = Ask(request, order.staging, order.package);
    const std::stop_callback kill(stop, [this] { Kill(); });
    const base::Result<WorkerAnswer> answer = ReadAnswer(pipe.get(), request);
    if (!answer) {
        Kill(); // who knows what it does
    }
    if (stop.stop_requested()) {
        throw Interrupted("the installation was stopped");
    }
    if (!answer) {
        throw Interrupted(answer.error().text);
    }
    if (!answer->unpacked) {
        throw UnpackFailure{answer->unpacked.error().code, answer->unpacked.error().text};
    }
    return *answer->unpacked;
}

base::Result<Protections> UnpackWorker::Try(int folder) {
    return CatchFailures([&] {
        const base::Result<WorkerAnswer> answer = ReadAnswer(Ask({}, folder, -1).get(), {});
        if (!answer) {
            throw Interrupted(answer.error().text);
        }
        return answer->protections;
    });
}

base::Result<WorkerAnswer> ReadAnswer(int pipe, const WorkerRequest &request) {
    const std::string bytes = base::ReadStart(pipe, kMostOfAnswer + 1);
    if (bytes.empty()) {
        return base::Fail("the process that unpacks has ended before it was done");
    }
    std::optional<WorkerAnswer> answer = DecodeAnswer(bytes);
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
