#include "delivery/worker/UnpackService.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <map>

#include "base/Files.h"
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
    [[noreturn]] void Work(pid_t parent, const WorkerRequest &request, const Message &message) const;
    void Collect();

    const int m_control;
    const pid_t m_self = getpid();
    const SystemCallFilter m_filter;
    // A confined process could not read it any more.
    const base::ScopedUtf8Locale m_locale;
    base::ScopedDescriptor m_ended;
    // The pipe for the answer of each child. It is kept open until the child has ended, whatever the child does.
    std::map<pid_t, base::ScopedDescriptor> m_answers;
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
            return EXIT_SUCCESS;
        }
    }
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
        Work(m_self, request, message);
    }
    if (child > 0) {
        m_answers.emplace(child, std::move(message.descriptors[0]));
    } else {
        base::WriteAll(message.descriptors[0].get(),
                       Encode(WorkerAnswer{{}, base::SystemFailure("no process can be started to unpack", errno)}));
    }
}

void UnpackService::Work(pid_t parent, const WorkerRequest &request, const Message &message) const {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) { // it ended before that
        _exit(EXIT_FAILURE);
    }
    close(m_control);
    const int staging = message.descriptors[1].get();
    WorkerAnswer answer{Confine(staging, request.limits, m_filter), {}};
    if (message.descriptors.size() > 2) {
        const int package = message.descriptors[2].get();
        answer.unpacked = CatchFailures([&] { return Unpack({package, staging, request.component, request.limits}); });
    }
    base::WriteAll(message.descriptors[0].get(), Encode(answer));
    _exit(EXIT_SUCCESS);
}

void UnpackService::Collect() {
    signalfd_siginfo ignored;
    while (read(m_ended.get(), &ignored, sizeof ignored) > 0) {
    }
    for (pid_t child; (child = waitpid(-1, nullptr, WNOHANG)) > 0;) {
        m_answers.erase(child);
    }
}

} // namespace

int ServeUnpacking(int control) {
    return UnpackService(control).Run();
}

} // namespace delivery
