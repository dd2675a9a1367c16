#include "delivery/worker/UnpackService.h"

#include <errno.h>
#include <malloc.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <map>
#include <system_error>
#include <utility>

#include "base/ScopedUtf8Locale.h"
#include "delivery/package/UnpackFailure.h"
#include "delivery/worker/Channel.h"
#include "delivery/worker/Confinement.h"
#include "delivery/worker/WorkerMessage.h"

namespace delivery {

namespace {

class UnpackService {
public:
    explicit UnpackService(int control) : m_control(control) {
        // What was freed is used again, for a process gets fresh memory slowly; but not so much of it is kept that a
        // later package could meet the limit.
        mallopt(M_MMAP_THRESHOLD, 8 << 20);
        mallopt(M_TRIM_THRESHOLD, 16 << 20);
        // Writing beyond a limit, or to a peer that has gone, fails and is told.
        signal(SIGXFSZ, SIG_IGN);
        signal(SIGPIPE, SIG_IGN);
        sigset_t ended;
        sigemptyset(&ended);
        sigaddset(&ended, SIGCHLD);
        sigprocmask(SIG_SETMASK, &ended, nullptr);
        m_ended = base::ScopedDescriptor(signalfd(-1, &ended, SFD_CLOEXEC | SFD_NONBLOCK));
    }

    int Run();

private:
    bool Take();
    void Start(const WorkerRequest &request, Message message);
    [[noreturn]] void Work(pid_t parent, WorkerRequest request, Message message) const;
    void Collect();

    const int m_control;
    const pid_t m_self = getpid();
    const SystemCallFilter m_filter;
    const std::uint64_t m_addressSpace = AddressSpace(); // a child's, too
    // A confined process could not read it any more.
    const base::ScopedUtf8Locale m_locale;
    base::ScopedDescriptor m_ended;
    // Each child's end of the socket to its user. Kept open until the child has ended, whatever that does.
    std::map<pid_t, base::ScopedDescriptor> m_ends;
};

int UnpackService::Run() {
    std::array<pollfd, 2> wanted{{{m_control, POLLIN, 0}, {m_ended.get(), POLLIN, 0}}};
    for (;;) {
        if (poll(wanted.data(), wanted.size(), -1) < 0 && errno != EINTR) {
            return EXIT_FAILURE;
        }
        if (wanted[1].revents != 0) {
            Collect();
        }
        if (wanted[0].revents != 0 && !Take()) {
            break;
        }
    }
    for (const auto &[child, end] : m_ends) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    return EXIT_SUCCESS;
}

// False when no more requests come.
bool UnpackService::Take() {
    base::Result<std::optional<Message>> message = ReceiveMessage(m_control, kMostOfRequest);
    if (!message || !*message) {
        return false;
    }
    const std::optional<WorkerRequest> request = DecodeRequest((*message)->bytes);
    if (!request || (*message)->descriptors.size() < 2) {
        return false;
    }
    Start(*request, *std::move(*message));
    return true;
}

void UnpackService::Start(const WorkerRequest &request, Message message) {
    const pid_t child = fork();
    if (child == 0) {
        Work(m_self, request, std::move(message));
    }
    if (child > 0) {
        m_ends.emplace(child, std::move(message.descriptors[0]));
    } else {
        const int error = errno;
        (void)SendText(message.descriptors[0].get(),
                       Encode(WorkerAnswer{
                           {},
                           base::Fail("no process can be started to unpack: " + std::generic_category().message(error),
                                      kUnpackInterrupted)}));
    }
}

void UnpackService::Work(pid_t parent, WorkerRequest request, Message message) const {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) { // it ended before that
        _exit(EXIT_FAILURE);
    }
    close(m_control);
    const int user = message.descriptors[0].get();
    const int staging = message.descriptors[1].get();
    WorkerAnswer answer{Confine(staging, request.limits, m_addressSpace, m_filter), {}};
    base::ScopedDescriptor package(message.descriptors.size() > 2 ? message.descriptors[2].Release() : -1);
    for (;;) {
        if (package) {
            answer.unpacked = CatchFailures([&] {
                return Unpack({package.get(), staging, request.component, request.limits});
            });
        }
        if (!SendText(user, Encode(answer))) {
            _exit(EXIT_FAILURE);
        }
        base::Result<std::optional<Message>> next = ReceiveMessage(user, kMostOfRequest);
        const auto decoded = next && *next ? DecodeRequest((*next)->bytes) : std::nullopt;
        if (!decoded || (*next)->descriptors.empty()) {
            _exit(EXIT_SUCCESS);
        }
        request = *decoded;
        package = std::move((*next)->descriptors[0]);
    }
}

void UnpackService::Collect() {
    signalfd_siginfo ignored;
    while (read(m_ended.get(), &ignored, sizeof ignored) > 0) {
    }
    for (pid_t child; (child = waitpid(-1, nullptr, WNOHANG)) > 0;) {
        m_ends.erase(child);
    }
}

} // namespace

int ServeUnpacking(int control) {
    return UnpackService(control).Run();
}

} // namespace delivery
